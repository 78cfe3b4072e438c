// The fixture of tests on text files: a folder for the files, and a temporary
// folder of its own in which leftovers show.
#pragma once

#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

class TextFileTest : public SessionTest {
protected:
    void SetUp() override;
    // Fails the test when temporary files are left over that it did not take.
    void TearDown() override;

    // A path in the test's folder.
    std::string Path(const std::string& name) { return Scratch() + name; }
    // Makes the file and answers its path.
    std::string Make(const std::string& name, const std::string& bytes);

    // The contents of the temporary files that are left over; deletes them.
    std::vector<std::string> TakeLeftovers() const;

private:
    std::string temporary_;
    std::string outerTemporary_;
};
