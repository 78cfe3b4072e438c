#include "frame/programs.h"

namespace setupactions {

namespace {

const int ProgressReport = 2; // kind of progress message: move the bar

} // namespace

UINT UseProgressTime(MSIHANDLE session, int ticks) {
    LogMessage(session, Format("UseProgressTime: %i ticks", ticks));
    const InstallerHandle record(MsiCreateRecord(3));
    MsiRecordSetInteger(record.Get(), 1, ProgressReport);
    MsiRecordSetInteger(record.Get(), 2, ticks);
    MsiRecordSetInteger(record.Get(), 3, 0);
    MsiProcessMessage(session, INSTALLMESSAGE_PROGRESS, record.Get());
    return ERROR_SUCCESS;
}

} // namespace setupactions
