#include "detect/database/odbc.h"

#include "tests/support/replaced_import.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

int WINAPI LongestAnswer(const char*, const char*, const char*, char*, int, const char*) {
    return INT_MAX;
}
FARPROC WINAPI FindLongestAnswer(HMODULE, const char* name) {
    EXPECT_STREQ(name, "SQLGetPrivateProfileString");
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(LongestAnswer));
}

} // namespace

TEST(Odbc, ADriverOfImpossibleLengthIsNone) {
    const ReplacedImport<decltype(FindLongestAnswer)> find("GetProcAddress", FindLongestAnswer);
    EXPECT_FALSE(setupactions::DsnDriverExists("Repository"));
}
