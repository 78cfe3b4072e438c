// The HTML viewer's files, which several products share.
#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/file_changes.h"
#include "frame/files.h"
#include "frame/held_folder.h"
#include "frame/paths.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const DWORD ActionDataSize = 520;
const char Separator[] = "|";
const char ViewerFolder[] = "htmlviewer";
const char* const Languages[] = {"en", "de", "fr", "ja"};

} // namespace

// Scheduled deferred. Action data: "source folder|destination folder", full
// paths, at most 519 characters; other data copies nothing. Copies the viewer's
// language folders into "htmlviewer" of the destination.
EXPORTED_ACTION(CopyHTMLViewerToPFCD) {
    if (TakesBack(session, "CopyHTMLViewerToPFCD", UndoFileChanges))
        return ERROR_SUCCESS;
    UndoRecord record(session, "CopyHTMLViewerToPFCD");
    char buffer[ActionDataSize] = "";
    DWORD size = ActionDataSize;
    if (MsiGetPropertyA(session, "CustomActionData", buffer, &size) != ERROR_SUCCESS)
        return ERROR_SUCCESS;
    const std::string data = buffer;
    const size_t separator = FindCharacter(data, Separator);
    if (separator == std::string::npos)
        return ERROR_SUCCESS;
    const std::string source = InFolder(data.substr(0, separator), ViewerFolder);
    const std::string destination = InFolder(data.substr(separator + 1), ViewerFolder);
    if (!IsOwnPath(source) || !IsOwnPath(destination)) {
        LogFormat(session,
                  "CopyHTMLViewerToPFCD: source or destination is no full path in "
                  "'%s', nothing copied",
                  data.c_str());
        return ERROR_SUCCESS;
    }
    RecordFolder(record, destination);
    CreateDirectoryA(destination.c_str(), nullptr);
    const HeldFolder held(destination);
    if (held && !held.IsInPlace()) {
        LogFormat(session, "CopyHTMLViewerToPFCD: %s is a link, nothing copied",
                  destination.c_str());
        return ERROR_SUCCESS;
    }
    for (const char* language : Languages)
        CopyDirectory(session, InFolder(source, language), InFolder(destination, language),
                      &record);
    return ERROR_SUCCESS;
}

} // namespace setupactions
