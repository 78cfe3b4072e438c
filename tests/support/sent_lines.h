// The first fields of all information records as they are sent, square brackets
// included: the engine takes bracketed text for fields and leaves it out of
// what it shows. One object at a time.
#pragma once

#include "frame/session.h"
#include "tests/support/replaced_import.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

class SentLines {
public:
    SentLines() { current = this; }

    // Runs an action, which must answer 0. Result: what it sent.
    const std::vector<std::string>& Of(UINT(WINAPI* action)(MSIHANDLE), MSIHANDLE session) {
        lines.clear();
        EXPECT_EQ(action(session), ERROR_SUCCESS);
        return lines;
    }

    std::vector<std::string> lines;

private:
    static int WINAPI Keep(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record) {
        std::string line;
        setupactions::GetRecordString(record, 1, line);
        if (type == INSTALLMESSAGE_INFO)
            current->lines.push_back(line);
        return current->import_.Original()(session, type, record);
    }

    static inline SentLines* current = nullptr;
    ReplacedImport<decltype(Keep)> import_{"MsiProcessMessage", Keep};
};
