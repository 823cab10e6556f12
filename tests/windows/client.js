// A host in JScript: cscript client.js URL FOLDER FILE-NAME
var failures = 0;

function check(name, condition) {
    WScript.Echo((condition ? "ok " : "FAILED ") + name);
    if (!condition) failures += 1;
}

// The language shows no error's source. Without a number any will do.
function checkError(name, operation, number, description) {
    try {
        operation();
        check(name + ": raises an error", false);
    } catch (error) {
        check(name + ": number " + error.number, error.number === number || !number && error.number !== 0);
        check(name + ": description " + error.description, !description || error.description === description);
    }
}

var manager = new ActiveXObject("TSAsync.CDLManager");
var url = WScript.Arguments(0), folder = WScript.Arguments(1), name = WScript.Arguments(2);

check("AutoStart begins as false", manager.AutoStart === false);
manager.AutoStart = true;
check("AutoStart comes back", manager.AutoStart === true);
manager.AutoStart = false;
manager.AssetsPath = folder;
check("AssetsPath comes back", manager.AssetsPath === folder);
manager.ActiveJobs = 7;
check("ActiveJobs comes back", manager.ActiveJobs === 7);
manager.ActiveJobs = 0;
manager.LangID = 1036;
check("no jobs", manager.Jobs === 0);

var handle = manager.AddURL(url);
check("the handle is that of GetHDL", handle === manager.GetHDL(url));
check("and that of HDLbyURL", handle === manager.HDLbyURL(url));
check("an unknown address has no handle", manager.HDLbyURL("http://nowhere.invalid/") === "");
check("a second registration has the same handle", manager.AddURL(url, "a name") === handle);
check("a third, too", manager.AddURL(url, "a name", false) === handle);
check("one job", manager.Jobs === 1);
check("nothing to elect", manager.Elect() === "");
manager.ChangeState(handle, 0);
manager.ChangeState(handle, 0, 40000.5);
manager.ChangeState(handle, 0, 40000.5, false);
manager.StartLog("", 1);
manager.RemoveURL(handle);
check("references are left", manager.Jobs === 1);

// 0x800A0005, as JScript shows the runtime error 5.
checkError("unknown handle of RemoveURL", function () { manager.RemoveURL("no such handle"); }, -2146828283,
    "Invalid procedure call or argument");
checkError("unknown handle of ChangeState", function () { manager.ChangeState("no such handle", 3); }, -2147219503,
    "Application-defined or object-defined error");
checkError("Jobs can't be written", function () { manager.Jobs = 3; });
checkError("LangID can't be read", function () { return manager.LangID; });
checkError("a record can't be created", function () { return new ActiveXObject("TSAsync.CDLItem"); });
checkError("a member that is not there", function () { manager.NoSuchMember(); });

// A forced download, because it runs the message loop, which Wine's cscript doesn't.
check("the forced download has a handle", manager.AddURL(url + "?forced", "", true) === manager.GetHDL(url + "?forced"));
check("the transfer has ended", manager.ActiveJobs === 0);
var files = new ActiveXObject("Scripting.FileSystemObject");
check("the file is there", files.FileExists(folder + "\\" + name));

WScript.Quit(failures);
