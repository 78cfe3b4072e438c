#include "tests/support/text_file_test.h"

#include <filesystem>
#include <fstream>
#include <iterator>

void TextFileTest::SetUp() {
    SessionTest::SetUp();
    char outer[MAX_PATH] = "";
    GetTempPathA(MAX_PATH, outer);
    outerTemporary_ = outer;
    temporary_ = Scratch() + "temporary\\";
    ASSERT_TRUE(CreateDirectoryA(temporary_.c_str(), nullptr));
    SetEnvironmentVariableA("TMP", temporary_.c_str());
}

void TextFileTest::TearDown() {
    EXPECT_EQ(TakeLeftovers().size(), 0u) << "temporary files left over";
    SetEnvironmentVariableA("TMP", outerTemporary_.c_str());
    SessionTest::TearDown();
}

std::string TextFileTest::Make(const std::string& name, const std::string& bytes) {
    WriteBytes(Path(name), bytes);
    return Path(name);
}

std::vector<std::string> TextFileTest::TakeLeftovers() const {
    std::vector<std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(temporary_)) {
        contents.push_back(ReadBytes(entry.path().string()));
        EXPECT_TRUE(std::filesystem::remove(entry.path())) << entry.path();
    }
    return contents;
}

std::string ReadBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    ASSERT_TRUE(file.flush()) << path;
}

std::string WithWindowsBreaks(const std::string& bytes) {
    std::string result;
    for (const char character : bytes) {
        if (character == '\n' && (result.empty() || result.back() != '\r'))
            result += '\r';
        result += character;
    }
    return result;
}

std::vector<std::string> Pieces(const std::string& bytes, size_t readSize) {
    std::vector<std::string> pieces;
    std::string piece;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (bytes.compare(i, 2, "\r\n") == 0)
            ++i;
        piece += bytes[i];
        if (bytes[i] == '\n' || piece.size() == readSize - 1) {
            pieces.push_back(piece);
            piece.clear();
        }
    }
    if (!piece.empty())
        pieces.push_back(piece);
    return pieces;
}
