// What the setup changes in the web server's configuration store: virtual
// directories, script and MIME maps, and the list of allowed extensions. Each
// call stands alone: it reaches the store, changes one key, makes the change
// durable and lets the store go. All log with the session; none throws. With a
// record, each change is recorded before it is made.
#pragma once

#include "frame/undo_record.h"

namespace setupactions {

// Publishes a folder as a virtual directory and makes the application
// directories, paths joined by ";". One leading "/" of the virtual directory
// and one trailing "\" of the folder are dropped. A virtual directory that is
// there keeps its values. A name that begins with "-" changes nothing here.
// An application directory longer than 260 characters ends the call before
// anything is durable. Result: true when all but application directories succeeded.
bool IIS4AddVirtualDir(MSIHANDLE session, const std::string& virtualDir,
                       const std::string& physicalPath, DWORD attributes,
                       const std::string& applicationDirs, UndoRecord* record = nullptr);

// Deletes a virtual directory. For a name that begins with "-" the application
// directories are deleted instead, by their paths from the store's root.
bool IIS4RemoveVirtualDir(MSIHANDLE session, const std::string& virtualDir,
                          const std::string& applicationDirs, UndoRecord* record = nullptr);

// Maps an extension (with or without its dot) in a virtual directory: to a DLL
// for MD_SCRIPT_MAPS (one trailing "\" is dropped), to a MIME type for MD_MIME_MAP.
bool IIS4AddScriptMap(MSIHANDLE session, const std::string& virtualDir,
                      const std::string& extension, const std::string& target, DWORD id,
                      UndoRecord* record = nullptr);

bool IIS4RemoveScriptMap(MSIHANDLE session, const std::string& virtualDir,
                         const std::string& extension, DWORD id, UndoRecord* record = nullptr);

// Puts an entry in front of the list of web service extensions; entries that
// hold the DLL's name in small letters are taken out.
bool IIS4AddWebSvcExtension(MSIHANDLE session, const std::string& entry, const std::string& dllName,
                            UndoRecord* record = nullptr);

// Takes entries that hold the DLL's name in small letters out of the list.
bool IIS4RemoveWebSvcExtension(MSIHANDLE session, const std::string& entry,
                               const std::string& dllName, UndoRecord* record = nullptr);

// Allows or no longer allows the suite's ISAPI DLL, on servers that keep a list
// of web service extensions.
void ConfigureWebSvcExtension(MSIHANDLE session, const std::string& isapiPath, bool add,
                              UndoRecord* record = nullptr);

} // namespace setupactions
