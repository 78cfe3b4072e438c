#include "tests/support/text_file_test.h"

#include <filesystem>

void TextFileTest::SetUp() {
    SessionTest::SetUp();
    char outer[MAX_PATH] = "";
    GetTempPathA(MAX_PATH, outer);
    outerTemporary_ = outer;
    temporary_ = Path("temporary\\");
    MakeFolders(temporary_);
    SetEnvironmentVariableA("TMP", temporary_.c_str());
}

void TextFileTest::TearDown() {
    EXPECT_EQ(TakeLeftovers().size(), 0u) << "temporary files left over";
    SetEnvironmentVariableA("TMP", outerTemporary_.c_str());
    SessionTest::TearDown();
}

std::string TextFileTest::Make(const std::string& name, const std::string& bytes) {
    WriteFileText(Path(name), bytes);
    return Path(name);
}

std::vector<std::string> TextFileTest::TakeLeftovers() const {
    std::vector<std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(temporary_)) {
        contents.push_back(FileText(entry.path().string()));
        EXPECT_TRUE(std::filesystem::remove(entry.path())) << entry.path();
    }
    return contents;
}
