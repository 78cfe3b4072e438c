#include "setup/redist_source.h"

#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/web_server.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

const Redistributable Tool = {"TOOLCOMMAND", "setup.exe", "/q /d:\"[PLACE]\"", 25100, true};
const char Checking[] = " - Checking to make sure we can get sourcedir property";

const char* language; // null: the system does not tell
int WINAPI UserLanguage(LCID locale, LCTYPE type, char* name, int size) {
    EXPECT_EQ(locale, GetUserDefaultLCID());
    EXPECT_EQ(type, 3u);
    if (language == nullptr)
        return 0;
    lstrcpynA(name, language, size);
    return lstrlenA(name) + 1;
}

std::string resolvedSource; // what "ResolveSource" sets
int resolutions;
UINT WINAPI Resolve(MSIHANDLE session, const char* action) {
    EXPECT_STREQ(action, "ResolveSource");
    ++resolutions;
    return MsiSetPropertyA(session, "SourceDir", resolvedSource.c_str());
}

// Answers none, also for one that is there under another path.
HMODULE WINAPI NoLibrary(const char* name) {
    EXPECT_THAT(name, testing::MatchesRegex("C:.windows.system32.urlmon.dll"));
    return nullptr;
}

class RedistSourceTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        language = "DEU";
        SetProperty("PLACE", "C:\\some place");
    }

    // Looks for the tool with this source. Result: the program of the command
    // line that was set.
    std::string ProgramFrom(const std::string& source, UINT result = ERROR_SUCCESS) {
        SetProperty("SourceDir", source);
        SetProperty(Tool.property, "");
        SetProperty("NeedReboot", "");
        sent.lines.clear();
        sent.shown.clear();
        EXPECT_EQ(CheckRedist(session, Tool), result);
        const bool found = Property("NeedReboot") == "TRUE";
        EXPECT_EQ(sent.shown, std::vector<int>(result == ERROR_INSTALL_FAILURE ? 1 : 0, 25100));
        const std::string command = Property(Tool.property);
        const size_t end = command.find("\" /q /d:\"C:\\some place\"");
        EXPECT_EQ(found, end != std::string::npos) << command;
        return found ? command.substr(1, end - 1) : command;
    }

    SentLines sent;
    ReplacedImport<decltype(UserLanguage)> userLanguage_{"GetLocaleInfoA", UserLanguage};
};

} // namespace

TEST_F(RedistSourceTest, LocalMediaAreSearchedByLanguage) {
    const struct {
        const char* language;
        std::vector<std::string> files; // below redist
        const char* found;              // null: none
    } cases[] = {
        {"DEU", {"DEU\\setup.exe", "DEU\\setupDEU.exe", "DE\\setup.exe"}, "DEU\\setup.exe"},
        {"DEU", {"DEU\\setupDEU.exe", "DE\\setup.exe"}, "DEU\\setupDEU.exe"},
        {"DEU", {"DEU\\setup.txt", "DE\\setupDE.exe", "en\\setup.exe"}, "DE\\setupDE.exe"},
        {"DEU", {"en\\setupen.exe", "FRA\\setup.exe"}, "en\\setupen.exe"},
        {nullptr, {"DEU\\setup.exe", "en\\setup.exe"}, "en\\setup.exe"},
        {nullptr, {"DEU\\setup.exe"}, nullptr},
        {"DEU", {"FRA\\setup.exe", "setup.exe"}, nullptr},
    };
    int number = 0;
    for (const auto& row : cases) {
        language = row.language;
        const std::string source = Scratch() + "disk " + std::to_string(++number) + "\\";
        for (const std::string& file : row.files)
            WriteFileInFolders(source + "redist\\" + file, "x");
        const bool found = row.found != nullptr;
        EXPECT_EQ(ProgramFrom(source, found ? ERROR_SUCCESS : ERROR_INSTALL_FAILURE),
                  found ? source + "redist\\" + row.found : "");
    }
}

TEST_F(RedistSourceTest, TheLogTellsEveryTry) {
    const std::string first = "redist\\DEU\\setup.exe", second = "redist\\DEU\\setupDEU.exe";
    WriteFileInFolders(Scratch() + second, "x");
    ProgramFrom(Scratch());
    const std::string start[] = {std::string("[CheckRedist]") + Checking,
                                 "[CheckRedist] - InstallRedist: SourceDir is " + Scratch()};
    EXPECT_THAT(
        sent.lines,
        ElementsAre(start[0], start[1], "[CheckRedist] Calling MKRedistPath with  as asPath.",
                    "Language is: DEU", "[MKRedistPath] calling ResolveRedistPath with path=: ",
                    "[ResolveRedistPath] called with: ParentPath= [SourceDir]redist, Lang= DEU, "
                    "FileName= setup, Extension= .exe, asPath= ",
                    std::string("[ResolveRedistPath]") + Checking,
                    "[ResolveRedistPath] running from local media",
                    "[ResolvePath] BEFORE Format: Buffer in='[SourceDir]" + first + "', Path=''",
                    "[ResolvePath] AFTER  Format: Buffer in='[SourceDir]" + first + "', Path='" +
                        Scratch() + first + "'",
                    "Could not Find File '" + Scratch() + first + "'",
                    "[ResolvePath] BEFORE Format: Buffer in='[SourceDir]" + second + "', Path='" +
                        Scratch() + first + "'",
                    "[ResolvePath] AFTER  Format: Buffer in='[SourceDir]" + second + "', Path='" +
                        Scratch() + second + "'",
                    "Found file '" + Scratch() + second + "'",
                    "[CheckRedist] - Setting NeedReboot to TRUE"));

    // A command line that is there is left alone.
    SetProperty(Tool.property, "own");
    sent.lines.clear();
    EXPECT_EQ(CheckRedist(session, Tool), ERROR_SUCCESS);
    EXPECT_THAT(sent.lines, ElementsAre(start[0], start[1]));
    EXPECT_EQ(Property(Tool.property), "own");

    Redistributable quiet = Tool;
    quiet.property = "QUIET";
    quiet.needsRestart = false;
    SetProperty("NeedReboot", "");
    EXPECT_EQ(CheckRedist(session, quiet), ERROR_SUCCESS);
    EXPECT_NE(Property("QUIET"), "");
    EXPECT_EQ(Property("NeedReboot"), "");
}

TEST_F(RedistSourceTest, AnEmptySourceIsResolvedOnce) {
    const ReplacedImport<decltype(Resolve)> resolve("MsiDoActionA", Resolve);
    EXPECT_EQ(ProgramFrom(""), "") << "a source that stays empty stops nothing";
    EXPECT_THAT(
        sent.lines,
        ElementsAre(std::string("[CheckRedist]") + Checking,
                    "[CheckRedist] - Couldn't get SourceDir MsiProperty.Trying to resolve "
                    "source",
                    "[CheckRedist] - Checking (again) to make we can get sourcedir property",
                    "[CheckRedist] - Failed: Couldn't get SourceDir"));
    std::string path;
    EXPECT_FALSE(ResolveRedistPath("setup", session, "[SourceDir]redist", "en", ".exe", path));
    EXPECT_EQ(sent.lines.back(), "[ResolveRedistPath] - Failed: Couldn't get SourceDir");

    resolvedSource = Scratch();
    resolutions = 0;
    WriteFileInFolders(Scratch() + "redist\\DEU\\setup.exe", "x");
    EXPECT_EQ(ProgramFrom(""), Scratch() + "redist\\DEU\\setup.exe");
    EXPECT_EQ(resolutions, 1);
}

TEST_F(RedistSourceTest, AWebSourceIsDownloadedByLanguage) {
    const std::string content(100000, 'w');
    const struct {
        const char* sourceEnd;
        std::vector<std::string> asked;
    } cases[] = {
        {"", {"/redist/DEU/setup.exe"}},
        {"/a b/", {"/a%20b/redist/DEU/setup.exe", "/a%20b/redist/DEU/setupDEU.exe"}},
        {"//", {"//redist/DEU/setup.exe"}}, // only one is removed
        {"",
         {"/redist/DEU/setup.exe", "/redist/DEU/setupDEU.exe", "/redist/DE/setup.exe",
          "/redist/DE/setupDE.exe", "/redist/en/setup.exe"}},
    };
    for (const auto& row : cases) {
        WebServer server(WebServer::Files{{row.asked.back(), content}});
        const std::string program = ProgramFrom(server.Address() + row.sourceEnd);
        EXPECT_EQ(server.Requests(), row.asked);
        EXPECT_EQ(FileText(program), content) << program;
    }
}

TEST_F(RedistSourceTest, TheLogTellsEveryDownload) {
    WebServer server(WebServer::Files{{"/redist/en/setupen.exe", "x"}});
    SetProperty("SourceDir", server.Address());
    const std::string folder = server.Address() + "/redist/en/";
    std::string path = "before";
    ASSERT_TRUE(ResolveRedistPath("setup", session, "[SourceDir]redist", "en", ".exe", path));
    EXPECT_THAT(path, testing::HasSubstr("]")) << "the cache numbers its files in brackets";
    const std::string texts = " Format: Buffer in='" + EscapeBrackets(path) + "', Path='" + path;
    EXPECT_THAT(
        sent.lines,
        ElementsAre("[ResolveRedistPath] called with: ParentPath= [SourceDir]redist, Lang= en, "
                    "FileName= setup, Extension= .exe, asPath= before",
                    std::string("[ResolveRedistPath]") + Checking,
                    "[ResolveRedistPath] running from web",
                    "[ResolveRedistPath] Attempt to download from " + folder + "setup.exe",
                    "Failed to download from: " + folder + "setup.exe: .",
                    "[ResolveRedistPath] Attempt to download from " + folder + "setupen.exe",
                    "[ResolveRedistPath] Downloaded from: " + folder + "setupen.exe  To: " + path,
                    "[ResolveRedistPath] asPath=" + path, "[ResolvePath] BEFORE" + texts + "'",
                    "[ResolvePath] AFTER " + texts + "'", "Found file '" + path + "'"));
}

TEST_F(RedistSourceTest, ASourceThatGivesNothingStopsTheInstallation) {
    WebServer empty(WebServer::Files{});
    const std::string gone = "http://127.0.0.1:9";
    for (const std::string& source : {empty.Address(), gone}) {
        EXPECT_EQ(ProgramFrom(source, ERROR_INSTALL_FAILURE), "");
        EXPECT_EQ(sent.lines.back(), "[ResolveRedistPath] Failed to Download from: " + source +
                                         "/redist/en/setupen.exe  To: ");
    }
    const ReplacedImport<decltype(NoLibrary)> load("LoadLibraryA", NoLibrary);
    ProgramFrom(gone, ERROR_INSTALL_FAILURE);
    EXPECT_EQ(sent.lines.back(), "[ResolveRedistPath] Failed to load urlmon.dll");
}
