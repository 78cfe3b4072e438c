' Adds the library's tables to a package, with Windows' own installer:
'   cscript //nologo import-tables.vbs PACKAGE.msi [TABLE ...]
' Without names: every table in tables\. A table that the package has stays as
' it is.
Option Explicit
Const OpenTransacted = 1

Dim files, arguments, folder, tables, installer, database, i, file
Set files = CreateObject("Scripting.FileSystemObject")
Set arguments = WScript.Arguments
If arguments.Count = 0 Then
    WScript.Echo "usage: cscript //nologo import-tables.vbs PACKAGE.msi [TABLE ...]"
    WScript.Quit 2
End If
folder = files.BuildPath(files.GetParentFolderName(WScript.ScriptFullName), "tables")

Set tables = CreateObject("Scripting.Dictionary")
For i = 1 To arguments.Count - 1
    tables.Add arguments(i), True
Next
If tables.Count = 0 Then
    For Each file In files.GetFolder(folder).Files
        If LCase(files.GetExtensionName(file.Name)) = "idt" Then tables.Add files.GetBaseName(file.Name), True
    Next
End If

Set installer = CreateObject("WindowsInstaller.Installer")
Set database = installer.OpenDatabase(arguments(0), OpenTransacted)
For Each i In tables.Keys
    If database.TablePersistent(i) = 1 Then
        WScript.Echo i & ": already in the package"
    Else
        database.Import folder, i & ".idt"
        WScript.Echo i & ": added"
    End If
Next
database.Commit
