#include "setup/redistributables/source_folder.h"

#include "frame/libraries.h"
#include "frame/paths.h"
#include "frame/session.h"

#include <urlmon.h>

namespace setupactions {

namespace {

const char SourceProperty[] = "SourceDir";
const DWORD CacheFileSize = 260;

using URLDownloadToCacheFileProcedure = HRESULT WINAPI(IUnknown*, const char*, char*, DWORD, DWORD,
                                                       IBindStatusCallback*);

} // namespace

bool GetSourceFolder(MSIHANDLE session, const char* routine, std::string& source) {
    LogFormat(session, "[%s] - Checking to make sure we can get sourcedir property", routine);
    source = PropertyText(session, SourceProperty);
    if (source.empty()) {
        LogFormat(session, "[%s] - Couldn't get SourceDir MsiProperty.Trying to resolve source",
                  routine);
        MsiDoActionA(session, "ResolveSource");
        LogFormat(session, "[%s] - Checking (again) to make we can get sourcedir property",
                  routine);
        source = PropertyText(session, SourceProperty);
    }
    if (source.empty())
        LogFormat(session, "[%s] - Failed: Couldn't get SourceDir", routine);
    return !source.empty();
}

bool IsWebSource(const std::string& source) { return source.find("://") != std::string::npos; }

std::string WebAddress(const std::string& source, const std::string& below) {
    std::string address = source;
    EnsureTrailingChar(address, '/', true);
    return address + "/" + below;
}

Download DownloadToCache(const std::string& address, std::string& cacheFile) {
    cacheFile.clear();
    const Library library = LoadSystemLibrary("urlmon.dll");
    if (!library)
        return Download::NoLibrary;
    auto* const download = reinterpret_cast<URLDownloadToCacheFileProcedure*>(
        reinterpret_cast<void*>(GetProcAddress(library.Get(), "URLDownloadToCacheFileA")));
    if (download == nullptr)
        return Download::NoProcedure;
    char path[CacheFileSize] = "";
    if (FAILED(download(nullptr, address.c_str(), path, CacheFileSize, 0, nullptr)))
        return Download::Failed;
    cacheFile = path;
    return Download::Done;
}

} // namespace setupactions
