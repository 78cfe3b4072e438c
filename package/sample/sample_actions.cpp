// The sample package's own actions. They show how a package uses the library's frame to
// hand data from an immediate action to a deferred one.
#include "frame/compiler.h"
#include "frame/deferred_data.h"
#include "frame/session.h"

using namespace setupactions;

#define SAMPLE_ACTION(Name)                                                                        \
    extern "C" ACTION_STACK UINT __stdcall Name(MSIHANDLE session);                                \
    extern "C" ACTION_STACK UINT __stdcall Name(MSIHANDLE session)

namespace {

const char DeferredAction[] = "ReportSampleData";
const char* const Properties[] = {"SAMPLESERVER", "MSIEXECPID", "Installed"};
const char ReadmeFile[] = "readme";

} // namespace

// Scheduled after InstallInitialize. Hands properties and the path of an installed file to
// ReportSampleData.
SAMPLE_ACTION(HandOverSampleData) {
    CDeferredData data(session, DeferredAction);
    for (const char* property : Properties)
        data.AddProperty(property);
    data.AddFileKey(ReadmeFile);
    return ERROR_SUCCESS;
}

// Deferred, after InstallFiles. Logs what HandOverSampleData handed over.
SAMPLE_ACTION(ReportSampleData) {
    const CDeferredData data(session, DeferredAction);
    for (const char* name : {Properties[0], Properties[1], Properties[2], ReadmeFile}) {
        std::string value;
        if (data.Lookup(name, value))
            LogMessage(session, Format("ReportSampleData: %s is %s", name, value.c_str()));
        else
            LogMessage(session, Format("ReportSampleData: %s was not handed over", name));
    }
    return ERROR_SUCCESS;
}

// Deferred, scheduled where a test wants the installation to fail. The action data 1602
// makes it look as if the user had cancelled.
SAMPLE_ACTION(FailSample) {
    std::string data;
    GetDeferredData(session, data);
    LogMessage(session, "FailSample: failing, as asked");
    return data == "1602" ? ERROR_INSTALL_USEREXIT : ERROR_INSTALL_FAILURE;
}
