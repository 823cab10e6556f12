' A host in VBScript that hears the manager's events: script_host VBScript events.vbs URL FOLDER FILE-NAME
Option Explicit

Const tsdStarting = 1, tsdDownloading = 2, tsdFinished = 4, tsdBroken = 5

Dim manager, record, states, handle, waits, files, path

Sub Check(name, condition)
    If condition Then
        WScript.Echo "ok " & name
    Else
        WScript.Echo "FAILED " & name
        WScript.Quit 1
    End If
End Sub

Sub manager_StateChanged(transfer)
    Set record = transfer
    states = states & transfer.State
End Sub

Set manager = CreateObject("TSAsync.CDLManager")
WScript.ConnectObject manager, "manager_"
manager.AssetsPath = WScript.Arguments(1)
manager.AutoStart = True
handle = manager.AddURL(WScript.Arguments(0), "a name")
Check "the start is told", InStr(states, tsdStarting) > 0
Check "Handle", record.Handle = handle
Check "URL", record.URL = WScript.Arguments(0)
Check "Name", record.Name = "a name"
Check "RefCount", record.RefCount = 1
Check "Attempts", record.Attempts = 1
Check "Start is a date of now", VarType(record.Start) = vbDate And Abs(CDbl(record.Start) - CDbl(Now)) < 0.01
Check "no file yet", record.FinalPath = "" And record.TmpPath = ""

Do Until record.State = tsdFinished Or record.State = tsdBroken Or waits = 1200
    WScript.Sleep 50
    waits = waits + 1
Loop
Check "State", record.State = tsdFinished
Check "data was told of", InStr(states, tsdDownloading) > 0
Check "Size", record.Size = 300000
Check "TotalSize", record.TotalSize = 300000
Check "MIMEType", record.MIMEType = "image/jpeg"
Check "TmpPath", Len(record.TmpPath) > 0
path = WScript.Arguments(1) & "\" & WScript.Arguments(2)
Check "FinalPath " & record.FinalPath, record.FinalPath = path
Set files = CreateObject("Scripting.FileSystemObject")
Check "the file", files.FileExists(path)
record.Size = 400000
Check "a greater Size raises TotalSize", record.TotalSize = 400000
manager.RemoveURL handle
Check "the record outlives its job", manager.Jobs = 0 And record.Handle = handle
