// The HTML viewer's files, which several products share.
#include "frame/action.h"
#include "frame/ansi_text.h"
#include "frame/files.h"
#include "frame/session.h"
#include "setup/path_texts.h"

using namespace setupactions;

namespace {

const DWORD ActionDataSize = 520;
const char Separator[] = "|";
const char ViewerFolder[] = "htmlviewer";
const char* const Languages[] = {"en", "de", "fr", "ja"};

} // namespace

// Scheduled deferred. Action data: "source folder|destination folder", at most
// 519 characters; longer or incomplete data copies nothing. Copies the
// viewer's language folders into "htmlviewer" of the destination.
EXPORTED_ACTION(CopyHTMLViewerToPFCD) {
    char buffer[ActionDataSize] = "";
    DWORD size = ActionDataSize;
    if (MsiGetPropertyA(session, "CustomActionData", buffer, &size) != ERROR_SUCCESS)
        return ERROR_SUCCESS;
    const std::string data = buffer;
    const size_t separator = FindCharacter(data, Separator);
    if (separator == std::string::npos)
        return ERROR_SUCCESS;
    // Without either folder the paths would be those of the current folder.
    if (separator == 0 || separator + 1 == data.size()) {
        LogMessage(session, Format("CopyHTMLViewerToPFCD: source or destination is empty in '%s', "
                                   "nothing copied",
                                   data.c_str()));
        return ERROR_SUCCESS;
    }
    const std::string source = InFolder(data.substr(0, separator), ViewerFolder);
    const std::string destination = InFolder(data.substr(separator + 1), ViewerFolder);
    CreateDirectoryA(destination.c_str(), nullptr);
    for (const char* language : Languages)
        CopyDirectory(session, InFolder(source, language), InFolder(destination, language));
    return ERROR_SUCCESS;
}
