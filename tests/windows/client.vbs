' A host in VBScript: cscript client.vbs URL FOLDER FILE-NAME
' Wine's cscript connects no events; the records, which come with them, are the business of events.vbs.
Option Explicit

Dim manager, failures, url, handle, language, made, files

failures = 0

Sub Check(name, condition)
    If condition Then
        WScript.Echo "ok " & name
    Else
        WScript.Echo "FAILED " & name
        failures = failures + 1
    End If
End Sub

Sub CheckError(name, number, source, description)
    Check name & ": number " & Err.Number, Err.Number = number
    Check name & ": source " & Err.Source, Err.Source = source
    Check name & ": description " & Err.Description, Err.Description = description
    Err.Clear
End Sub

Set manager = CreateObject("TSAsync.CDLManager")
url = WScript.Arguments(0)

' Properties.
Check "AutoStart begins as False", manager.AutoStart = False
manager.AutoStart = True
Check "AutoStart comes back", manager.AutoStart = True
manager.AutoStart = False
manager.AssetsPath = WScript.Arguments(1)
Check "AssetsPath comes back", manager.AssetsPath = WScript.Arguments(1)
manager.ActiveJobs = 7
Check "ActiveJobs comes back", manager.ActiveJobs = 7
manager.ActiveJobs = 0
Check "no jobs", manager.Jobs = 0
manager.LangID = 1031

' Members with and without their optional arguments.
handle = manager.AddURL(url)
Check "the handle is that of GetHDL", handle = manager.GetHDL(url)
Check "and that of HDLbyURL", handle = manager.HDLbyURL(url)
Check "an unknown address has no handle", manager.HDLbyURL("http://nowhere.invalid/") = ""
Check "a second registration has the same handle", manager.AddURL(url, "a name") = handle
Check "a third, too", manager.AddURL(url, "a name", False) = handle
Check "and a fourth", manager.AddURL(url, , False) = handle
Check "one job", manager.Jobs = 1
Check "nothing to elect", manager.Elect() = ""
manager.ChangeState handle, 0
manager.ChangeState handle, 0, Now
manager.ChangeState handle, 0, Now, False
manager.ChangeState handle, 0, , False
manager.StartLog "", 1
manager.RemoveURL handle
Check "references are left", manager.Jobs = 1

' Errors.
On Error Resume Next
manager.RemoveURL "no such handle"
CheckError "unknown handle of RemoveURL", 5, "CDLManager.RemoveURL", "Invalid procedure call or argument"
manager.ChangeState "no such handle", 3
CheckError "unknown handle of ChangeState", -2147219503, "CDLManager.ChangeState", "Application-defined or object-defined error"
manager.Jobs = 3
Check "Jobs can't be written", Err.Number <> 0
Err.Clear
language = manager.LangID
Check "LangID can't be read", Err.Number <> 0
Err.Clear
Set made = CreateObject("TSAsync.CDLItem")
Check "a record can't be created", Err.Number <> 0
Err.Clear
On Error Goto 0

' A download to its end. A forced one, because it runs the message loop, which Wine's cscript doesn't.
Set files = CreateObject("Scripting.FileSystemObject")
made = manager.AddURL(url & "?forced", "a name", True)
Check "the forced download has a handle", made = manager.GetHDL(url & "?forced")
Check "the transfer has ended", manager.ActiveJobs = 0
Check "the file is there", files.FileExists(WScript.Arguments(1) & "\" & WScript.Arguments(2))

WScript.Quit failures
