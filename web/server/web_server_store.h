// What the setup changes in the web server's configuration store: virtual
// directories, script and MIME maps, and the list of allowed extensions. Each
// call is complete: it connects to the store, changes one key, makes that durable
// and releases the store. All log to the session. A result is false when a step fails;
// an application directory that fails is only logged. With a record, each change is
// recorded before it is made.
#pragma once

#include "frame/undo_record.h"

namespace setupactions {

// Publishes a folder as a virtual directory and creates the application
// directories, whose paths are joined by ";". One leading "/" of the virtual
// directory and one trailing "\" of the folder are dropped. An existing virtual
// directory keeps its values. A name that begins with "-" changes nothing here.
// An application directory longer than 260 characters ends the call before
// anything is durable.
bool IIS4AddVirtualDir(MSIHANDLE session, const std::string& virtualDir,
                       const std::string& physicalPath, DWORD attributes,
                       const std::string& applicationDirs, UndoRecord* record = nullptr);

// Deletes a virtual directory. For a name that begins with "-" its application
// directories are deleted instead, by their paths from the store's root, up to one
// longer than 260 characters. A virtual directory that cannot be deleted is not logged.
bool IIS4RemoveVirtualDir(MSIHANDLE session, const std::string& virtualDir,
                          const std::string& applicationDirs, UndoRecord* record = nullptr);

// Maps an extension, with or without its dot, in a virtual directory: to a DLL
// for MD_SCRIPT_MAPS (one trailing "\" is dropped), to a MIME type for MD_MIME_MAP.
bool IIS4AddScriptMap(MSIHANDLE session, const std::string& virtualDir,
                      const std::string& extension, const std::string& target, DWORD id,
                      UndoRecord* record = nullptr);

bool IIS4RemoveScriptMap(MSIHANDLE session, const std::string& virtualDir,
                         const std::string& extension, DWORD id, UndoRecord* record = nullptr);

// Puts an entry in front of the list of web service extensions, from which older
// entries of the DLL are removed: see WithoutExtension.
bool IIS4AddWebSvcExtension(MSIHANDLE session, const std::string& entry, const std::string& dllName,
                            UndoRecord* record = nullptr);

// Removes the DLL's entries from that list. The entry is not used.
bool IIS4RemoveWebSvcExtension(MSIHANDLE session, const std::string& entry,
                               const std::string& dllName, UndoRecord* record = nullptr);

// Allows or disallows the suite's ISAPI DLL, on servers that keep a list of web
// service extensions.
void ConfigureWebSvcExtension(MSIHANDLE session, const std::string& isapiPath, bool add,
                              UndoRecord* record = nullptr);

} // namespace setupactions
