// The sample reports' shortcuts, once they are installed.
#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/paths.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const DWORD IniValueSize = 5200;

std::string ReadIni(const std::string& file, const char* section, const char* key) {
    char value[IniValueSize] = "";
    GetPrivateProfileStringA(section, key, "", value, IniValueSize, file.c_str());
    return value;
}

} // namespace

// Scheduled immediate after InstallFinalize. Reads the directories "En" and
// INSTALLDIR; puts the installation folder before the URL of every shortcut
// that En's SampleReportsURL.ini lists. Run twice, it does so twice.
EXPORTED_ACTION(UpdateSampleReportsURLs) {
    std::string folder, installFolder;
    if (GetPropertyString(session, "En", folder) != ERROR_SUCCESS ||
        GetPropertyString(session, "INSTALLDIR", installFolder) != ERROR_SUCCESS)
        return ERROR_SUCCESS;

    const std::string base = "file:///" + WithSlashes(installFolder);
    const std::string index = folder + "SampleReportsURL.ini";
    if (!PathExists(index))
        return ERROR_SUCCESS;

    for (int n = 0;; ++n) {
        const std::string name = ReadIni(index, "Reports", Format("%d", n).c_str());
        if (name.empty())
            return ERROR_SUCCESS;
        const std::string shortcut = folder + name;
        if (!PathExists(shortcut))
            continue;
        const std::string url = ReadIni(shortcut, "InternetShortcut", "URL");
        if (!url.empty())
            WritePrivateProfileStringA("InternetShortcut", "URL", (base + url).c_str(),
                                       shortcut.c_str());
    }
}

} // namespace setupactions
