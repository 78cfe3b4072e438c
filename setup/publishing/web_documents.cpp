// The web reporting documents, published by the publishing utility.
#include "exports/action.h"
#include "frame/deferred_data.h"
#include "frame/programs.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char WebDocumentsCommand[] = "ADD_LUMO_DOCS_COMMAND";

} // namespace

// Scheduled after the documents are installed: immediate it runs the command line
// in ADD_LUMO_DOCS_COMMAND, deferred under that name the one of its action data;
// without one it does nothing. Partner: PublishDemoHelper, which sets the property.
EXPORTED_ACTION(AddLumo) {
    std::string commandLine;
    if (IsDeferred(session))
        GetDeferredData(session, commandLine);
    else
        commandLine = PropertyText(session, WebDocumentsCommand);
    return RunPreparedCommand(session, commandLine);
}

} // namespace setupactions
