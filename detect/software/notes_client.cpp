// The folders of an installed Notes client.
#include "exports/action.h"
#include "frame/directories.h"
#include "frame/paths.h"
#include "frame/session.h"

namespace setupactions {

namespace {

// Directories of the package.
const char ProgramDirectory[] = "NOTESDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
const char DataDirectory[] = "NOTESDATADIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
const char IniDirectory[] = "NOTESINIDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";

// Properties in which the package's searches leave the folders of one release.
struct NotesRelease {
    const char* program;
    const char* data;
    const char* ini;
};
const NotesRelease Releases[] = {
    // The fifth release keeps notes.ini beside its program: NOTESDIR, without a
    // suffix, is that folder as the package's search found it.
    {"NOTES_5_DIR", "NOTES_5_DATA_DIR", "NOTESDIR"},
    {"NOTES_4_DIR", "NOTES_4_DATA_DIR", "WindowsFolder"},
};

void SetDirectoryFrom(MSIHANDLE session, const char* directory, const char* property) {
    const std::string folder = PropertyText(session, property);
    if (!folder.empty())
        myMsiSetDirectory(session, directory, folder);
}

// True when a client is known: chosen before, or found by the searches.
bool TakeRelease(MSIHANDLE session) {
    if (!PropertyText(session, "NOTES_DIR").empty())
        return true;
    for (const NotesRelease& release : Releases) {
        if (PropertyText(session, release.program).empty())
            continue;
        SetDirectoryFrom(session, ProgramDirectory, release.program);
        SetDirectoryFrom(session, DataDirectory, release.data);
        SetDirectoryFrom(session, IniDirectory, release.ini);
        return true;
    }
    return false;
}

bool HasNotesIni(MSIHANDLE session, const char* folderProperty) {
    std::string path;
    return ResolvePath(session, Format("[%s]notes.ini", folderProperty), path);
}

void LocateNotesIni(MSIHANDLE session) {
    if (HasNotesIni(session, IniDirectory))
        return;
    if (HasNotesIni(session, "WindowsFolder"))
        SetDirectoryFrom(session, IniDirectory, "WindowsFolder");
    else if (HasNotesIni(session, ProgramDirectory))
        SetDirectoryFrom(session, IniDirectory, "NOTESDIR");
    else
        SetDirectoryFrom(session, IniDirectory, "ProgramFilesFolder");
}

} // namespace

// Scheduled after the package's searches and costing. Reads NOTES_DIR or the
// NOTES_5_... and NOTES_4_... folders found; sets the directories of the Notes
// program, its data and its notes.ini.
EXPORTED_ACTION(GetNotesPath) {
    if (TakeRelease(session))
        LocateNotesIni(session);
    return ERROR_SUCCESS;
}

} // namespace setupactions
