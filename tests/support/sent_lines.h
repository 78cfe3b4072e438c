// The texts of all information records as they are sent, including square brackets: the
// engine takes bracketed text for fields and omits it from what it shows. One object at a
// time.
#pragma once

#include "frame/session.h"
#include "tests/support/replaced_import.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

class SentLines {
public:
    SentLines() { current = this; }

    // Runs an action, which must return 0. Result: what it sent.
    const std::vector<std::string>& Of(UINT(WINAPI* action)(MSIHANDLE), MSIHANDLE session) {
        lines.clear();
        EXPECT_EQ(action(session), ERROR_SUCCESS);
        return lines;
    }

    // The first field of each record, or the template of a record without fields.
    std::vector<std::string> lines;
    std::vector<UINT> fieldCounts; // of the same records
    // The numbers of the messages from the Error table that were to be shown.
    std::vector<int> shown;

private:
    static int WINAPI Keep(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record) {
        const UINT field = MsiRecordGetFieldCount(record) == 0 ? 0 : 1;
        std::string line;
        setupactions::GetRecordString(record, field, line);
        if (type == INSTALLMESSAGE_INFO) {
            current->lines.push_back(line);
            current->fieldCounts.push_back(MsiRecordGetFieldCount(record));
        }
        if (type == INSTALLMESSAGE_USER && MsiRecordIsNull(record, 0))
            current->shown.push_back(MsiRecordGetInteger(record, 1));
        return current->import_.Original()(session, type, record);
    }

    static inline SentLines* current = nullptr;
    ReplacedImport<decltype(Keep)> import_{"MsiProcessMessage", Keep};
};
