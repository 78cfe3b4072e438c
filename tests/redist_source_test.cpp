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
int WINAPI UserLanguage(LCID, LCTYPE type, char* name, int size) {
    if (language == nullptr || type != LOCALE_SABBREVLANGNAME)
        return 0;
    lstrcpynA(name, language, size);
    return lstrlenA(name) + 1;
}

std::string resolvedSource; // what "ResolveSource" sets
UINT WINAPI Resolve(MSIHANDLE session, const char* action) {
    EXPECT_STREQ(action, "ResolveSource");
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

    // Looks for the tool below a source. Result: its program; none when missing.
    std::string ProgramFrom(const std::string& source, bool isMissing = false) {
        SetProperty("SourceDir", source);
        SetProperty(Tool.property, "");
        sent.lines.clear();
        sent.shown.clear();
        EXPECT_EQ(CheckRedist(session, Tool), isMissing ? ERROR_INSTALL_FAILURE : ERROR_SUCCESS);
        EXPECT_EQ(sent.shown, std::vector<int>(isMissing ? 1 : 0, 25100)) << source;
        const std::string command = Property(Tool.property);
        const size_t end = command.find("\" /q /d:\"C:\\some place\"");
        return end == std::string::npos ? command : command.substr(1, end - 1);
    }

    SentLines sent;
    ReplacedImport<decltype(UserLanguage)> userLanguage_{"GetLocaleInfoA", UserLanguage};
};

} // namespace

TEST_F(RedistSourceTest, LocalMediaAreSearchedByLanguage) {
    const struct {
        const char* language;
        std::vector<std::string> files; // below redist
        std::string found;              // empty: none
    } cases[] = {
        {"DEU", {"DEU\\setup.exe", "DEU\\setupDEU.exe", "DE\\setup.exe"}, "DEU\\setup.exe"},
        {"DEU", {"DEU\\setupDEU.exe", "DE\\setup.exe"}, "DEU\\setupDEU.exe"},
        {"DEU", {"DEU\\setup.txt", "DE\\setupDE.exe", "en\\setup.exe"}, "DE\\setupDE.exe"},
        {"DEU", {"en\\setupen.exe", "FRA\\setup.exe"}, "en\\setupen.exe"},
        {nullptr, {"DEU\\setup.exe"}, ""},
        {"DEU", {"FRA\\setup.exe", "setup.exe"}, ""},
    };
    int number = 0;
    for (const auto& row : cases) {
        language = row.language;
        const std::string redist = Scratch() + std::to_string(++number) + "\\redist\\";
        for (const std::string& file : row.files)
            WriteFileInFolders(redist + file, "x");
        EXPECT_EQ(ProgramFrom(Scratch() + std::to_string(number) + "\\", row.found.empty()),
                  row.found.empty() ? "" : redist + row.found);
    }
}

TEST_F(RedistSourceTest, TheLogTellsEveryTry) {
    const std::string first = "redist\\DEU\\setup.exe", second = "redist\\DEU\\setupDEU.exe";
    WriteFileInFolders(Scratch() + second, "x");
    ProgramFrom(Scratch());
    EXPECT_EQ(Property("NeedReboot"), "TRUE");
    const std::string in = "Format: Buffer in='[SourceDir]", path = "', Path='";
    std::vector<std::string> lines = {
        std::string("[CheckRedist]") + Checking,
        "[CheckRedist] - InstallRedist: SourceDir is " + Scratch(),
        "[CheckRedist] Calling MKRedistPath with  as asPath.",
        "Language is: DEU",
        "[MKRedistPath] calling ResolveRedistPath with path=: ",
        "[ResolveRedistPath] called with: ParentPath= [SourceDir]redist, Lang= DEU, "
        "FileName= setup, Extension= .exe, asPath= ",
        std::string("[ResolveRedistPath]") + Checking,
        "[ResolveRedistPath] running from local media",
        "[ResolvePath] BEFORE " + in + first + path + "'",
        "[ResolvePath] AFTER  " + in + first + path + Scratch() + first + "'",
        "Could not Find File '" + Scratch() + first + "'",
        "[ResolvePath] BEFORE " + in + second + path + Scratch() + first + "'",
        "[ResolvePath] AFTER  " + in + second + path + Scratch() + second + "'",
        "Found file '" + Scratch() + second + "'",
        "[CheckRedist] - Setting NeedReboot to TRUE"};
    EXPECT_EQ(sent.lines, lines);

    SetProperty(Tool.property, "own");
    sent.lines.clear();
    EXPECT_EQ(CheckRedist(session, Tool), ERROR_SUCCESS);
    lines.resize(2);
    EXPECT_EQ(sent.lines, lines) << "a command line that is there is left alone";
    EXPECT_EQ(Property(Tool.property), "own");
}

TEST_F(RedistSourceTest, AnEmptySourceIsResolvedOnce) {
    const ReplacedImport<decltype(Resolve)> resolve("MsiDoActionA", Resolve);
    EXPECT_EQ(ProgramFrom(""), "") << "a source that stays empty stops nothing";
    std::string path;
    EXPECT_FALSE(ResolveRedistPath("setup", session, "[SourceDir]redist", "en", ".exe", path));
    std::vector<std::string> lines;
    for (const std::string routine : {"[CheckRedist]", "[ResolveRedistPath]"})
        for (const std::string line :
             {Checking, " - Couldn't get SourceDir MsiProperty.Trying to resolve source",
              " - Checking (again) to make we can get sourcedir property",
              " - Failed: Couldn't get SourceDir"})
            lines.push_back(routine + line);
    sent.lines.erase(sent.lines.begin() + 4); // what ResolveRedistPath was called with
    EXPECT_EQ(sent.lines, lines);

    resolvedSource = Scratch();
    WriteFileInFolders(Scratch() + "redist\\en\\setup.exe", "x");
    EXPECT_EQ(ProgramFrom(""), Scratch() + "redist\\en\\setup.exe");
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
        EXPECT_EQ(ProgramFrom(source, true), "");
        EXPECT_EQ(sent.lines.back(), "[ResolveRedistPath] Failed to Download from: " + source +
                                         "/redist/en/setupen.exe  To: ");
    }
    const ReplacedImport<decltype(NoLibrary)> load("LoadLibraryA", NoLibrary);
    ProgramFrom(gone, true);
    EXPECT_EQ(sent.lines.back(), "[ResolveRedistPath] Failed to load urlmon.dll");
}
