#include "setup/redistributables/redist_source.h"

#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"
#include "tests/support/two_byte_characters.h"
#include "tests/support/web_server.h"

using namespace setupactions;
using testing::ElementsAre;

namespace {

const Redistributable Tool = {"TOOLCOMMAND", "setup.exe", "/q /d:\"[PLACE]\"", 25100, true};
const std::string Checking = " - Checking to make sure we can get sourcedir property";

int WINAPI UserLanguage(LCID, LCTYPE type, char* name, int size) {
    EXPECT_EQ(type, LCTYPE(LOCALE_SABBREVLANGNAME));
    lstrcpynA(name, "DEU", size);
    return lstrlenA(name) + 1;
}

std::string resolvedSource; // what "ResolveSource" sets
UINT WINAPI Resolve(MSIHANDLE session, const char* action) {
    EXPECT_STREQ(action, "ResolveSource");
    return MsiSetPropertyA(session, "SourceDir", resolvedSource.c_str());
}

decltype(MsiRecordSetStringA)* setString;
UINT WINAPI RefuseArguments(MSIHANDLE record, UINT field, const char* text) {
    return std::string(Tool.arguments) == text ? ERROR_FUNCTION_FAILED
                                               : setString(record, field, text);
}

class RedistSourceTest : public SessionTest {
protected:
    // Puts an installer beside the package. Result: its path.
    std::string Put(const std::string& file) {
        WriteFileInFolders(Scratch() + "redist\\" + file, "x");
        return Scratch() + "redist\\" + file;
    }
    // Looks for the tool below a source. Result: its program; none when missing.
    std::string ProgramFrom(const std::string& source, bool isMissing = false) {
        SetProperty("PLACE", "C:\\some place");
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
    Put("FRA\\setup.exe");
    EXPECT_EQ(ProgramFrom(Scratch(), true), "");
    for (const char* file : {"en\\setupen.exe", "en\\setup.exe", "DE\\setupDE.exe", "DE\\setup.exe",
                             "DEU\\setupDEU.exe", "DEU\\setup.exe"}) {
        const std::string path = Put(file);
        EXPECT_EQ(ProgramFrom(Scratch()), path) << "is preferred to the one before";
    }
}

TEST_F(RedistSourceTest, TheLogTellsEveryTry) {
    const std::string first = "redist\\DEU\\setup.exe", second = "redist\\DEU\\setupDEU.exe";
    Put("DEU\\setupDEU.exe");
    ProgramFrom(Scratch());
    EXPECT_EQ(Property("NeedReboot"), "TRUE");
    const std::string in = "Format: Buffer in='[SourceDir]", path = "', Path='";
    const std::vector<std::string> lines = {
        "[CheckRedist]" + Checking,
        "[CheckRedist] - InstallRedist: SourceDir is " + Scratch(),
        "[CheckRedist] Calling MKRedistPath with  as asPath.",
        "Language is: DEU",
        "[MKRedistPath] calling ResolveRedistPath with path=: ",
        "[ResolveRedistPath] called with: ParentPath= [SourceDir]redist, Lang= DEU, "
        "FileName= setup, Extension= .exe, asPath= ",
        "[ResolveRedistPath]" + Checking,
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
    EXPECT_EQ(CheckRedist(session, Tool), ERROR_SUCCESS);
    EXPECT_EQ(Property(Tool.property), "own") << "a command line that is there is left alone";
}

TEST_F(RedistSourceTest, AnInstallerWithoutItsSwitchesIsNotPrepared) {
    const std::string path = Put("en\\setup.exe");
    const ReplacedImport<decltype(RefuseArguments)> set("MsiRecordSetStringA", RefuseArguments);
    setString = set.Original();
    EXPECT_EQ(ProgramFrom(Scratch()), "");
    EXPECT_EQ(Property("NeedReboot"), "");
    EXPECT_EQ(sent.lines.back(),
              "[CheckRedist] - Failed: Couldn't format '/q /d:\"[PLACE]\"', not prepared: " + path);
}

TEST_F(RedistSourceTest, AnEmptySourceIsResolvedOnce) {
    const ReplacedImport<decltype(Resolve)> resolve("MsiDoActionA", Resolve);
    EXPECT_EQ(ProgramFrom(""), "") << "a source that stays empty stops nothing";
    const std::string start = "[CheckRedist] - ";
    EXPECT_THAT(sent.lines,
                ElementsAre("[CheckRedist]" + Checking,
                            start + "Couldn't get SourceDir MsiProperty.Trying to resolve source",
                            start + "Checking (again) to make we can get sourcedir property",
                            start + "Failed: Couldn't get SourceDir"));
    resolvedSource = Scratch();
    const std::string path = Put("en\\setup.exe");
    EXPECT_EQ(ProgramFrom(""), path);
}

TEST_F(RedistSourceTest, AWebSourceIsDownloadedByLanguage) {
    WebServer server(WebServer::Files{{"/redist/en/setupen.exe", "program"}});
    const std::string path = ProgramFrom(server.Address() + "/");
    EXPECT_EQ(FileText(path), "program") << path;
    EXPECT_THAT(path, testing::HasSubstr("]")) << "the cache numbers its files in brackets";
    EXPECT_THAT(server.Requests(), ElementsAre("/redist/DEU/setup.exe", "/redist/DEU/setupDEU.exe",
                                               "/redist/DE/setup.exe", "/redist/DE/setupDE.exe",
                                               "/redist/en/setup.exe", "/redist/en/setupen.exe"));
    const std::string first = server.Address() + "/redist/en/setup.exe",
                      second = server.Address() + "/redist/en/setupen.exe",
                      texts = " Format: Buffer in='" + EscapeBrackets(path) + "', Path='" + path;
    sent.lines.erase(sent.lines.begin(), sent.lines.end() - 10); // of the other languages
    EXPECT_THAT(sent.lines,
                ElementsAre("[ResolveRedistPath] running from web",
                            "[ResolveRedistPath] Attempt to download from " + first,
                            "Failed to download from: " + first + ": .",
                            "[ResolveRedistPath] Attempt to download from " + second,
                            "[ResolveRedistPath] Downloaded from: " + second + "  To: " + path,
                            "[ResolveRedistPath] asPath=" + path,
                            "[ResolvePath] BEFORE" + texts + "'",
                            "[ResolvePath] AFTER " + texts + "'", "Found file '" + path + "'",
                            "[CheckRedist] - Setting NeedReboot to TRUE"));
    server.Stop();
    ProgramFrom(server.Address(), true);
    EXPECT_EQ(sent.lines.back(),
              "[ResolveRedistPath] Failed to Download from: " + second + "  To: ");
}

TEST(EscapeBrackets, LeavesTheSecondByteOfACharacterAlone) {
    const TwoByteCharacters twoBytes;
    EXPECT_EQ(EscapeBrackets("\x83[\x83][\x83"), "\x83[\x83][\\[]\x83");
}
