// Where the package runs from, local media or a web address, and downloads
// from there.
#pragma once

#include "frame/windows_api.h"

#include <string>

namespace setupactions {

// Reads SourceDir; when it is empty the installer is asked once to resolve it.
// Logs its steps under the routine's name. False when it stays empty.
bool GetSourceFolder(MSIHANDLE session, const char* routine, std::string& source);

// True for a source that is a web address; anything else is local media.
bool IsWebSource(const std::string& source);

// The web address of something below the source ("redist/en/setup.exe").
std::string WebAddress(const std::string& source, const std::string& below);

enum class Download { Done, NoLibrary, NoProcedure, Failed };

// Downloads a file into the system's download cache. Its path there has at most
// 259 characters and is empty unless Done. Waits until the download ends, under
// the system's own time-outs.
Download DownloadToCache(const std::string& address, std::string& cacheFile);

} // namespace setupactions
