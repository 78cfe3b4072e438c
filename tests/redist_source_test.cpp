#include "setup/redist_source.h"

#include "setup/source_folder.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/web_server.h"

#include <gmock/gmock.h>

#include <optional>

using namespace setupactions;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const Redistributable Tool = {"TOOLCOMMAND", "setup.exe", "/q /d:\"[PLACE]\"", 25100, true};

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

std::string loaded;
HMODULE WINAPI NoLibrary(const char* name) {
    loaded = name;
    return nullptr;
}
FARPROC WINAPI NoProcedure(HMODULE, const char* name) {
    EXPECT_STREQ(name, "URLDownloadToCacheFileA");
    return nullptr;
}

class RedistSourceTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        language = "DEU";
        SetProperty("PLACE", "C:\\some place");
    }

    // The program of the command line that was set.
    std::string Program() const {
        const std::string command = Property(Tool.property);
        const size_t end = command.find("\" /q /d:\"C:\\some place\"");
        if (command.empty() || command[0] != '"' || end == std::string::npos)
            return command;
        return command.substr(1, end - 1);
    }

    void Forget() {
        SetProperty(Tool.property, "");
        SetProperty("NeedReboot", "");
        ClearMessages();
    }

    ReplacedImport<int WINAPI(LCID, LCTYPE, char*, int)> userLanguage_{"GetLocaleInfoA",
                                                                       UserLanguage};
};

} // namespace

TEST_F(RedistSourceTest, LocalMediaAreSearchedByLanguage) {
    const struct {
        const char* language;
        std::vector<std::string> files; // below redist
        const char* found;              // null: none
    } cases[] = {
        {"DEU", {"DEU\\setup.exe", "DE\\setup.exe", "en\\setup.exe"}, "DEU\\setup.exe"},
        {"DEU", {"DEU\\setupDEU.exe", "DE\\setup.exe"}, "DEU\\setupDEU.exe"},
        {"DEU", {"DEU\\setup.exe", "DEU\\setupDEU.exe"}, "DEU\\setup.exe"},
        {"DEU", {"DEU\\setup.txt", "DE\\setupDE.exe", "en\\setup.exe"}, "DE\\setupDE.exe"},
        {"DEU", {"en\\setup.exe", "FRA\\setup.exe"}, "en\\setup.exe"},
        {"DEU", {"en\\setupen.exe"}, "en\\setupen.exe"},
        {"EN", {"EN\\setup.exe"}, "EN\\setup.exe"},
        {nullptr, {"DEU\\setup.exe", "en\\setup.exe"}, "en\\setup.exe"},
        {nullptr, {"DEU\\setup.exe"}, nullptr},
        {"DEU", {"FRA\\setup.exe", "setup.exe"}, nullptr},
        {"DEU", {}, nullptr},
    };
    int number = 0;
    for (const auto& row : cases) {
        Forget();
        language = row.language;
        const std::string source = Scratch() + "disk " + std::to_string(++number) + "\\";
        SetProperty("SourceDir", source);
        for (const std::string& file : row.files)
            WriteFileInFolders(source + "redist\\" + file, "x");
        const bool found = row.found != nullptr;
        SentLines log;
        EXPECT_EQ(CheckRedist(session, Tool), found ? ERROR_SUCCESS : ERROR_INSTALL_FAILURE);
        EXPECT_EQ(Program(), found ? source + "redist\\" + row.found : "") << number;
        EXPECT_EQ(Property("NeedReboot"), found ? "TRUE" : "") << number;
        EXPECT_EQ(log.shown, std::vector<int>(found ? 0 : 1, 25100)) << number;
    }
}

TEST_F(RedistSourceTest, TheLogTellsEveryTry) {
    WriteFileInFolders(Scratch() + "redist\\DE\\setup.exe", "x");
    SetProperty("SourceDir", Scratch());
    SentLines log;
    CheckRedist(session, Tool);
    const auto tries = [&](const std::string& language, bool found, const std::string& before) {
        const std::string folder = "redist\\" + language + "\\";
        std::vector<std::string> lines = {
            "[ResolveRedistPath] called with: ParentPath= [SourceDir]redist, Lang= " + language +
                ", FileName= setup, Extension= .exe, asPath= " + before,
            "[ResolveRedistPath] - Checking to make sure we can get sourcedir property",
            "[ResolveRedistPath] running from local media"};
        std::string path = before;
        for (const std::string& name : {std::string("setup.exe"), "setup" + language + ".exe"}) {
            const std::string in = "Buffer in='[SourceDir]" + folder + name + "', Path='";
            lines.push_back("[ResolvePath] BEFORE Format: " + in + path + "'");
            path = Scratch() + folder + name;
            lines.push_back("[ResolvePath] AFTER  Format: " + in + path + "'");
            lines.push_back((found ? "Found file '" : "Could not Find File '") + path + "'");
            if (found)
                break;
        }
        return lines;
    };
    std::vector<std::string> expected = {
        "[CheckRedist] - Checking to make sure we can get sourcedir property",
        "[CheckRedist] - InstallRedist: SourceDir is " + Scratch(),
        "[CheckRedist] Calling MKRedistPath with  as asPath.",
        "Language is: DEU",
        "[MKRedistPath] calling ResolveRedistPath with path=: ",
    };
    for (const auto& lines :
         {tries("DEU", false, ""), tries("DE", true, Scratch() + "redist\\DEU\\setupDEU.exe")})
        expected.insert(expected.end(), lines.begin(), lines.end());
    expected.push_back("[CheckRedist] - Setting NeedReboot to TRUE");
    EXPECT_EQ(log.lines, expected);
}

TEST_F(RedistSourceTest, ACommandLineThatIsThereIsLeftAlone) {
    SetProperty("SourceDir", Scratch());
    SetProperty(Tool.property, "\"C:\\own.exe\"");
    SentLines log;
    EXPECT_EQ(CheckRedist(session, Tool), ERROR_SUCCESS);
    EXPECT_THAT(log.lines,
                ElementsAre("[CheckRedist] - Checking to make sure we can get sourcedir property",
                            "[CheckRedist] - InstallRedist: SourceDir is " + Scratch()));
    EXPECT_EQ(Property(Tool.property), "\"C:\\own.exe\"");
    EXPECT_EQ(Property("NeedReboot"), "");
}

TEST_F(RedistSourceTest, WithoutARestartNoneIsAskedFor) {
    WriteFileInFolders(Scratch() + "redist\\en\\setup.exe", "x");
    SetProperty("SourceDir", Scratch());
    Redistributable quiet = Tool;
    quiet.needsRestart = false;
    EXPECT_EQ(CheckRedist(session, quiet), ERROR_SUCCESS);
    EXPECT_EQ(Property("NeedReboot"), "");
}

TEST_F(RedistSourceTest, AnEmptySourceIsResolvedOnce) {
    const ReplacedImport<UINT WINAPI(MSIHANDLE, const char*)> resolve("MsiDoActionA", Resolve);
    for (const std::string& resolved : {Scratch(), std::string()}) {
        Forget();
        SetProperty("SourceDir", "");
        resolvedSource = resolved;
        resolutions = 0;
        SentLines log;
        std::string source = "stale";
        EXPECT_EQ(GetSourceFolder(session, "Routine", source), !resolved.empty());
        EXPECT_EQ(source, resolved);
        EXPECT_EQ(resolutions, 1);
        std::vector<std::string> lines = {
            "[Routine] - Checking to make sure we can get sourcedir property",
            "[Routine] - Couldn't get SourceDir MsiProperty.Trying to resolve source",
            "[Routine] - Checking (again) to make we can get sourcedir property",
            "[Routine] - Failed: Couldn't get SourceDir"};
        if (!resolved.empty())
            lines.pop_back();
        EXPECT_EQ(log.lines, lines);
    }
    // A source that stays empty stops nothing.
    SentLines log;
    EXPECT_EQ(CheckRedist(session, Tool), ERROR_SUCCESS);
    EXPECT_EQ(Program(), "");
    EXPECT_THAT(log.shown, IsEmpty());
    std::string path;
    EXPECT_FALSE(ResolveRedistPath("setup", session, "[SourceDir]redist", "en", ".exe", path));
}

TEST_F(RedistSourceTest, AWebSourceIsDownloadedByLanguage) {
    const std::string content(100000, 'w');
    const struct {
        const char* sourceEnd;
        std::vector<std::string> asked;
    } cases[] = {
        {"", {"/redist/DEU/setup.exe"}},
        {"/", {"/redist/DEU/setup.exe", "/redist/DEU/setupDEU.exe"}},
        {"/a b/", {"/a%20b/redist/DEU/setup.exe"}},
        {"//", {"//redist/DEU/setup.exe"}}, // only one is removed
        {"",
         {"/redist/DEU/setup.exe", "/redist/DEU/setupDEU.exe", "/redist/DE/setup.exe",
          "/redist/DE/setupDE.exe", "/redist/en/setup.exe"}},
    };
    for (const auto& row : cases) {
        Forget();
        WebServer server(WebServer::Files{{row.asked.back(), content}});
        SetProperty("SourceDir", server.Address() + row.sourceEnd);
        EXPECT_EQ(CheckRedist(session, Tool), ERROR_SUCCESS);
        EXPECT_EQ(server.Requests(), row.asked);
        EXPECT_EQ(FileText(Program()), content) << Program();
        EXPECT_EQ(Property("NeedReboot"), "TRUE");
    }
}

TEST_F(RedistSourceTest, TheLogTellsEveryDownload) {
    WebServer server(WebServer::Files{{"/redist/en/setupen.exe", "x"}});
    SetProperty("SourceDir", server.Address());
    const std::string folder = server.Address() + "/redist/en/";
    SentLines log;
    std::string path = "before";
    ASSERT_TRUE(ResolveRedistPath("setup", session, "[SourceDir]redist", "en", ".exe", path));
    EXPECT_THAT(path, testing::HasSubstr("]")) << "the cache numbers its files in brackets";
    EXPECT_THAT(
        log.lines,
        ElementsAre("[ResolveRedistPath] called with: ParentPath= [SourceDir]redist, Lang= en, "
                    "FileName= setup, Extension= .exe, asPath= before",
                    "[ResolveRedistPath] - Checking to make sure we can get sourcedir property",
                    "[ResolveRedistPath] running from web",
                    "[ResolveRedistPath] Attempt to download from " + folder + "setup.exe",
                    "Failed to download from: " + folder + "setup.exe: .",
                    "[ResolveRedistPath] Attempt to download from " + folder + "setupen.exe",
                    "[ResolveRedistPath] Downloaded from: " + folder + "setupen.exe  To: " + path,
                    "[ResolveRedistPath] asPath=" + path,
                    "[ResolvePath] BEFORE Format: Buffer in='" + EscapeBrackets(path) +
                        "', Path='" + path + "'",
                    "[ResolvePath] AFTER  Format: Buffer in='" + EscapeBrackets(path) +
                        "', Path='" + path + "'",
                    "Found file '" + path + "'"));
}

TEST_F(RedistSourceTest, ASourceThatAnswersNothingUsefulStopsTheInstallation) {
    WebServer empty(WebServer::Files{});
    WebServer dead(WebServer::Files{});
    dead.Stop();
    const std::string longPath = "/" + std::string(2000, 'l');
    const std::string sources[] = {empty.Address(), dead.Address(), empty.Address() + longPath,
                                   "nosuchscheme://place"};
    for (const std::string& source : sources) {
        Forget();
        SetProperty("SourceDir", source);
        SentLines log;
        EXPECT_EQ(CheckRedist(session, Tool), ERROR_INSTALL_FAILURE) << source;
        EXPECT_EQ(Program(), "");
        EXPECT_THAT(log.shown, ElementsAre(25100));
        EXPECT_EQ(log.lines.back(), "[ResolveRedistPath] Failed to Download from: " + source +
                                        "/redist/en/setupen.exe  To: ");
    }
}

TEST_F(RedistSourceTest, ALongAddressReachesTheServerWhole) {
    const std::string path = "/" + std::string(2000, 'l') + "/redist/DEU/setup.exe";
    WebServer server(WebServer::Files{{path, "x"}});
    SetProperty("SourceDir", server.Address() + "/" + std::string(2000, 'l'));
    EXPECT_EQ(CheckRedist(session, Tool), ERROR_SUCCESS);
    EXPECT_EQ(FileText(Program()), "x") << Program();
    EXPECT_THAT(server.Requests(), ElementsAre(path));
}

TEST_F(RedistSourceTest, TheDownloadLibraryIsTheSystems) {
    SetProperty("SourceDir", "http://127.0.0.1:9");
    std::string path;
    {
        const ReplacedImport<HMODULE WINAPI(const char*)> load("LoadLibraryA", NoLibrary);
        SentLines log;
        EXPECT_FALSE(ResolveRedistPath("setup", session, "", "en", ".exe", path));
        EXPECT_EQ(log.lines.back(), "[ResolveRedistPath] Failed to load urlmon.dll");
        EXPECT_THAT(loaded, testing::MatchesRegex("C:.windows.system32.urlmon.dll"));
    }
    const ReplacedImport<FARPROC WINAPI(HMODULE, const char*)> find("GetProcAddress", NoProcedure);
    EXPECT_FALSE(ResolveRedistPath("setup", session, "", "en", ".exe", path));
}

TEST(EscapeBracketsTest, EveryBracketIsEscaped) {
    EXPECT_EQ(EscapeBrackets(""), "");
    EXPECT_EQ(EscapeBrackets("C:\\a.exe"), "C:\\a.exe");
    EXPECT_EQ(EscapeBrackets("a[1][.exe"), "a[\\[]1[\\]][\\[].exe");
}
