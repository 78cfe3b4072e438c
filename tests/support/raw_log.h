// What the library sends to the installer, before the installer resolves square
// brackets and message numbers in it.
#pragma once

#include "frame/session.h"
#include "tests/support/replaced_import.h"

#include <string>
#include <vector>

class RawLog {
public:
    RawLog() { current_ = this; }

    // The log's lines; those of LogMessage come without their date prefix.
    std::vector<std::string> lines;
    // The numbers of messages to be shown that name one of the Error table.
    std::vector<int> shown;

private:
    static int WINAPI Record(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record) {
        if (type == INSTALLMESSAGE_INFO) {
            // A record without fields is a line by itself.
            const UINT field = MsiRecordGetFieldCount(record) == 0 ? 0 : 1;
            std::string text;
            setupactions::GetRecordString(record, field, text);
            current_->lines.push_back(text);
        }
        if (type == INSTALLMESSAGE_USER && MsiRecordIsNull(record, 0))
            current_->shown.push_back(MsiRecordGetInteger(record, 1));
        return current_->processMessage_.Original()(session, type, record);
    }

    static inline RawLog* current_ = nullptr;
    ReplacedImport<int WINAPI(MSIHANDLE, INSTALLMESSAGE, MSIHANDLE)> processMessage_{
        "MsiProcessMessage", Record};
};
