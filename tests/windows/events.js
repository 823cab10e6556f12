// A host in JScript that hears the manager's events: script_host JScript events.js URL FOLDER FILE-NAME
var tsdStarting = 1, tsdDownloading = 2, tsdFinished = 4, tsdBroken = 5;
var record = null, states = "";

function check(name, condition) {
    WScript.Echo((condition ? "ok " : "FAILED ") + name);
    if (!condition) WScript.Quit(1);
}

function manager_StateChanged(transfer) {
    record = transfer;
    states += transfer.State;
}

var manager = new ActiveXObject("TSAsync.CDLManager");
WScript.ConnectObject(manager, "manager_");
manager.AssetsPath = WScript.Arguments(1);
manager.AutoStart = true;
var handle = manager.AddURL(WScript.Arguments(0), "a name");
check("the start is told", states.indexOf(tsdStarting) >= 0);
check("Handle", record.Handle === handle);
check("URL", record.URL === WScript.Arguments(0));
check("Name", record.Name === "a name");
check("RefCount", record.RefCount === 1);
check("Attempts", record.Attempts === 1);
check("Start is a date of now", Math.abs(new Date(record.Start) - new Date()) < 120000);
check("no file yet", record.FinalPath === "" && record.TmpPath === "");

for (var waits = 0; waits < 1200 && record.State !== tsdFinished && record.State !== tsdBroken; waits += 1) {
    WScript.Sleep(50);
}
check("State", record.State === tsdFinished);
check("data was told of", states.indexOf(tsdDownloading) >= 0);
check("Size", record.Size === 300000);
check("TotalSize", record.TotalSize === 300000);
check("MIMEType", record.MIMEType === "image/jpeg");
check("TmpPath", record.TmpPath.length > 0);
var path = WScript.Arguments(1) + "\\" + WScript.Arguments(2);
check("FinalPath " + record.FinalPath, record.FinalPath === path);
check("the file", new ActiveXObject("Scripting.FileSystemObject").FileExists(path));
record.Size = 400000;
check("a greater Size raises TotalSize", record.TotalSize === 400000);
manager.RemoveURL(handle);
check("the record outlives its job", manager.Jobs === 0 && record.Handle === handle);
