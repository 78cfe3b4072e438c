#include "frame/paths.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

TEST(Paths, OfOnesOwnAreFullAndNeitherDrivesNorShares) {
    const std::pair<const char*, bool> cases[] = {
        {"C:\\sub", true},
        {"C:\\windows\\..\\sub", true},
        {"\\\\?\\C:\\sub", true},
        {"\\\\server\\share\\sub", true},
        {"", false},
        {"sub", false},
        {"\\sub", false},
        {"C:", false},
        {"C:sub", false},
        {"C:\\", false},
        {"C:\\. .", false},
        {"C:\\windows\\..\\..\\", false},
        {"C:\\NUL", false},
        {"\\\\?\\C:\\", false},
        {"//?/C:/windows/..", false},
        {"\\\\.\\C:\\sub", false},
        {"\\\\?\\UNC\\server\\share\\sub", false},
        {"\\\\server", false},
        {"\\\\server\\share\\", false},
        {"\\\\server\\share\\sub\\..", false},
    };
    for (const auto& [path, isOwn] : cases)
        EXPECT_EQ(IsOwnPath(path), isOwn) << path;
    EXPECT_FALSE(IsOwnPath("C:\\" + std::string(300, 'x') + "\\.."));
}

TEST(Paths, AreTakenApartAndComposed) {
    const struct {
        std::string path, drive, directory, name, extension;
    } cases[] = {
        {"C:\\dir\\sub\\file.txt", "C:", "\\dir\\sub\\", "file", ".txt"},
        {"\\\\server\\share\\x.y.z", "", "\\\\server\\share\\", "x.y", ".z"},
        {"dir.d/file", "", "dir.d/", "file", ""},
    };
    for (const auto& row : cases) {
        std::string drive = "old", directory, name, extension, again;
        SplitPath(row.path, &drive, &directory, &name, &extension);
        EXPECT_THAT((std::vector<std::string>{drive, directory, name, extension}),
                    ElementsAre(row.drive, row.directory, row.name, row.extension));
        MakePath(again, drive.c_str(), directory.c_str(), name.c_str(), extension.c_str());
        EXPECT_EQ(again, row.path);
    }
}
