' Downloads one URL into a folder. QMASYN10.DLL must be registered (regsvr32 QMASYN10.DLL).
'
'     cscript //nologo download.vbs URL FOLDER
'
' Prints each state of the job and where the file went. Exit status 0 when it is there, 1 when it could not be had,
' 2 for wrong usage.
Option Explicit

Const tsdPending = 3, tsdFinished = 4, tsdBroken = 5

Dim exitStatus, manager
exitStatus = -1

If WScript.Arguments.Count <> 2 Then
    WScript.StdErr.WriteLine "usage: download.vbs URL FOLDER"
    WScript.Quit 2
End If

' Events arrive in the procedures whose names begin with "Manager_", while the script sleeps.
Set manager = WScript.CreateObject("TSAsync.CDLManager", "Manager_")
manager.AssetsPath = WScript.Arguments(1)
manager.AutoStart = True
manager.AddURL WScript.Arguments(0)
Do While exitStatus < 0
    WScript.Sleep 50
Loop
WScript.DisconnectObject manager
WScript.Quit exitStatus

Sub Manager_StateChanged(item)
    Dim states
    states = Array("stopped", "starting", "downloading", "pending", "finished", "broken")
    WScript.Echo states(item.State) & " " & item.Size & "/" & item.TotalSize
    If item.State = tsdFinished Then
        WScript.Echo item.FinalPath
        exitStatus = 0
    ElseIf item.State = tsdBroken Or (item.State = tsdPending And item.Attempts > 0) Then
        exitStatus = 1 ' a pending job is due again in three minutes; this script doesn't wait
    End If
End Sub
