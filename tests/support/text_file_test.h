// The fixture of tests on text files: a folder for the files, and a temporary
// folder of its own in which leftovers show.
#pragma once

#include "tests/support/session_test.h"

#include <string>
#include <vector>

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

std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::string& bytes);

// The bytes with every "\n" that has no "\r" before it made "\r\n": what a
// rewrite makes of them.
std::string WithWindowsBreaks(const std::string& bytes);

// The lines, with their "\n", that reads of this size would give: a plain model
// of a text stream, one character at a time.
std::vector<std::string> Pieces(const std::string& bytes, size_t readSize);
