// Stands in for the mapping of a user group into the central management server:
// mapNTUserGroup.js /Groupname NAME. Notes the name in a file beside the script.
var files = new ActiveXObject("Scripting.FileSystemObject");
var folder = files.GetParentFolderName(WScript.ScriptFullName);
var mapped = files.CreateTextFile(folder + "\\mapped_groups.txt", true);
mapped.WriteLine(WScript.Arguments.Item(WScript.Arguments.length - 1));
mapped.Close();
