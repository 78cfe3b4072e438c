// Actions that edit a text file, on a file of the test.
#pragma once

#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

class TextFileTest : public SessionTest {
protected:
    std::string Path(const std::string& name) { return Scratch() + name; }

    // Runs the action on this content of the file "target"; returns the new one.
    std::string Run(UINT(__stdcall* action)(MSIHANDLE), const std::string& content) {
        WriteFileText(Path("target"), content);
        ClearMessages();
        EXPECT_EQ(action(session), ERROR_SUCCESS);
        return FileText(Path("target"));
    }
};
