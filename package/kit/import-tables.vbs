' Adds the library's tables to a package, with Windows' own installer:
'   cscript //nologo import-tables.vbs PACKAGE.msi [TABLE | FILE.idt ...]
' A TABLE is added without rows, unless the package has it. A FILE.idt (a copy of
' one in tables\ with rows added) is added with its rows and replaces the table
' that the package has. Without names: every table in tables\, without rows.
' The properties of secure-properties.txt are added to SecureCustomProperties.
' Tried without Windows but for three things: Import, which takes a FILE.idt or a new TABLE
' in, Commit, which keeps the changes, and a package that cannot be opened.
Option Explicit
Const OpenTransacted = 1

Dim files, arguments, kit, folder, names, installer, database, number, file
Set files = CreateObject("Scripting.FileSystemObject")
Set arguments = WScript.Arguments
If arguments.Count = 0 Then
    WScript.Echo "usage: cscript //nologo import-tables.vbs PACKAGE.msi [TABLE | FILE.idt ...]"
    WScript.Quit 2
End If
If Not files.FileExists(arguments(0)) Then Refuse "no package " & arguments(0)
kit = files.GetParentFolderName(WScript.ScriptFullName)
folder = files.BuildPath(kit, "tables")

ReDim names(0)
For number = 1 To arguments.Count - 1
    AddName arguments(number)
Next
If arguments.Count = 1 Then
    For Each file In files.GetFolder(folder).Files
        If IsFile(file.Name) Then AddName files.GetBaseName(file.Name)
    Next
End If
For number = 1 To UBound(names)
    If IsFile(names(number)) Then
        If Not files.FileExists(names(number)) Then Refuse "no file " & names(number)
    ElseIf Not files.FileExists(files.BuildPath(folder, names(number) & ".idt")) Then
        Refuse "no table " & names(number) & "; see " & folder
    End If
Next

Set installer = CreateObject("WindowsInstaller.Installer")
OpenPackage arguments(0)
For number = 1 To UBound(names)
    If IsFile(names(number)) Then
        file = files.GetAbsolutePathName(names(number))
        Import files.GetParentFolderName(file), files.GetFileName(file)
        WScript.Echo names(number) & ": added with its rows"
    ElseIf Len(ValueOf("SELECT `Name` FROM `_Tables` WHERE `Name` = '" & names(number) & "'")) > 0 Then
        WScript.Echo names(number) & ": already in the package"
    Else
        Import folder, names(number) & ".idt"
        WScript.Echo names(number) & ": added"
    End If
Next
SecureProperties
Keep

' An error that nobody looks at would end the script as if all were well.
Sub OpenPackage(path)
    On Error Resume Next
    Set database = installer.OpenDatabase(path, OpenTransacted)
    If Err.Number <> 0 Then Refuse path & " cannot be opened: " & Err.Description
End Sub

Sub Import(path, name)
    On Error Resume Next
    database.Import path, name
    If Err.Number <> 0 Then Refuse name & " cannot be imported: " & Err.Description
End Sub

Sub Keep
    On Error Resume Next
    database.Commit
    If Err.Number <> 0 Then Refuse "the changes cannot be kept: " & Err.Description
End Sub

Sub SecureProperties
    Dim secure, before, name
    secure = ValueOf("SELECT `Value` FROM `Property` WHERE `Property` = 'SecureCustomProperties'")
    before = secure
    For Each name In Split(Replace(files.OpenTextFile(files.BuildPath(kit, "secure-properties.txt")).ReadAll, vbCr, ""), vbLf)
        If Len(name) > 0 And InStr(";" & secure & ";", ";" & name & ";") = 0 Then
            If Len(secure) > 0 Then secure = secure & ";"
            secure = secure & name
        End If
    Next
    If secure = before Then Exit Sub
    Change "DELETE FROM `Property` WHERE `Property` = 'SecureCustomProperties'"
    Change "INSERT INTO `Property` (`Property`, `Value`) VALUES ('SecureCustomProperties', '" & secure & "')"
    WScript.Echo "SecureCustomProperties: names what the actions read"
End Sub

' The first field of the query's first row; empty without one.
Function ValueOf(query)
    Dim view, row
    Set view = database.OpenView(query)
    view.Execute
    Set row = view.Fetch
    If Not row Is Nothing Then ValueOf = row.StringData(1)
    view.Close
End Function

Sub Change(query)
    Dim view
    Set view = database.OpenView(query)
    view.Execute
    view.Close
End Sub

Function IsFile(name)
    IsFile = LCase(Right(name, 4)) = ".idt"
End Function

Sub AddName(name)
    ReDim Preserve names(UBound(names) + 1)
    names(UBound(names)) = name
End Sub

Sub Refuse(text)
    WScript.Echo "import-tables: " & text
    WScript.Quit 1
End Sub
