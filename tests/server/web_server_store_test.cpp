#include "web/server/web_server_store.h"

#include "frame/session.h"
#include "tests/support/sent_lines.h"
#include "tests/support/web_store_test.h"
#include "web/server/metabase.h"

#include <array>
#include <functional>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const wchar_t Root[] = L"/LM/W3SVC/1/ROOT";
const DWORD ExtensionList = 2168;

// Major, minor and build number that the system tells.
std::array<DWORD, 3> system_;
BOOL WINAPI TellVersion(OSVERSIONINFOA* version) {
    EXPECT_EQ(version->dwOSVersionInfoSize, 156u);
    std::copy(system_.begin(), system_.end(), &version->dwMajorVersion);
    return TRUE;
}

// Converts every text but "bad".
decltype(&MultiByteToWideChar) convertOriginal;
int WINAPI ConvertAllBut(UINT page, DWORD flags, const char* text, int length, wchar_t* wide,
                         int room) {
    return std::string(text, static_cast<size_t>(length)) == "bad"
               ? 0
               : convertOriginal(page, flags, text, length, wide, room);
}

} // namespace

TEST_F(WebStoreTest, AVirtualDirectoryGetsItsValues) {
    EXPECT_TRUE(IIS4AddVirtualDir(session, "/viewer", "C:\\Suite\\viewer\\\\", 513,
                                  "/viewer;;/none/below;/viewer/admin;"));
    EXPECT_THAT(Log(),
                ElementsAre("IIS4AddVirtualDir: Mapping /viewer to C:\\Suite\\viewer\\\\ with "
                            "attributes 513",
                            "IIS4AddVirutalDir: Created application directory /viewer",
                            "IIS4AddVirtualDir: Failed to create application directory /none/below",
                            "IIS4AddVirutalDir: Created application directory /viewer/admin"));
    EXPECT_TRUE(IIS4AddVirtualDir(session, "viewer", "D:\\other", 1, "")) << "is left as it is";
    EXPECT_TRUE(IIS4AddVirtualDir(session, "webInfo", "C:\\info", 513, ""));
    EXPECT_EQ(Log().back(), "IIS4AddVirtualDir: No application directory for webInfo");
    metabase::Keys keys = Saved();
    EXPECT_EQ(keys.erase(L"/LM/W3SVC/1/ROOT/viewer/admin"), 1u);
    EXPECT_THAT(metabase::FormatTree(keys), testing::EndsWith(R"(
[/LM/W3SVC/1/ROOT/viewer]
KeyType (1002, server, own) = "IIsWebVirtualDir"
AppFriendlyName (2102, application, inherited below) = ""
AppRoot (2103, file, inherited below) = "/LM/W3SVC/1/ROOT/viewer"
AppIsolated (2104, application, inherited below) = 0x2
Path (3001, file, inherited below) = "C:\Suite\viewer\"
DirBrowseFlags (6005, file, inherited below) = 0x4000001E
AccessFlags (6016, file, inherited below) = 0x205
AnonymousPasswordSync (6022, file, inherited below) = 0x0

[/LM/W3SVC/1/ROOT/webInfo]
KeyType (1002, server, inherited below) = "IIsWebVirtualDir"
Path (3001, file, inherited below) = "C:\info"
AuthFlags (6000, file, inherited below) = 0x1
DirBrowseFlags (6005, file, inherited below) = 0x4000001E
AccessFlags (6016, file, inherited below) = 0x201
AnonymousPasswordSync (6022, file, inherited below) = 0x0
)"));
}

TEST_F(WebStoreTest, ApplicationPathsMayHave260Characters) {
    const std::string longest = "/" + std::string(259, 'a');
    EXPECT_TRUE(IIS4AddVirtualDir(session, "viewer", "C:\\x", 1, longest));
    EXPECT_EQ(Saved().count(Root + std::wstring(longest.begin(), longest.end())), 1u);
    const std::string tooLong = longest + "b";
    calls.clear();
    for (const bool adds : {true, false}) {
        EXPECT_FALSE(adds ? IIS4AddVirtualDir(session, "later", "C:\\x", 1, tooLong + ";/late")
                          : IIS4RemoveVirtualDir(session, "-later", tooLong));
        EXPECT_EQ(Log().back(), "II4AddVirtualDir: ERROR, " + tooLong +
                                    " is longer than MAX_PATH! Aborting operation..");
    }
    EXPECT_THAT(calls, testing::Not(testing::Contains("SaveData ")));
}

TEST_F(WebStoreTest, ADashStandsForTheApplicationDirectoriesAlone) {
    EXPECT_TRUE(IIS4AddVirtualDir(session, "-viewer", "C:\\x", 1, "/viewer"));
    answers["DeleteKey"] = {S_FALSE};
    EXPECT_TRUE(IIS4RemoveVirtualDir(session, "-viewer", "/gone;/viewer"));
    // From the store's root, which the store lets nobody write through.
    EXPECT_THAT(Log(),
                ElementsAre("Only creating application dir", "Only removing application dir..",
                            "IIS4AddVirutalDir: Created application directory /gone",
                            "IIS4AddVirtualDir: Failed to create application directory /viewer"));
    EXPECT_THAT(calls, ElementsAre("DeleteKey /gone", "DeleteKey /viewer"));
}

TEST_F(WebStoreTest, RemovingAVirtualDirectoryForgetsItsOlderRecordToo) {
    const char roots[] = "System\\CurrentControlSet\\Services\\W3SVC\\Parameters\\Virtual Roots";
    for (const char* name : {"/viewer", "/viewer,", "/viewer2"})
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, roots, name, "C:\\x");
    EXPECT_TRUE(IIS4AddVirtualDir(session, "viewer", "C:\\x", 1, ""));
    EXPECT_TRUE(IIS4RemoveVirtualDir(session, "/viewer", "/ignored"));
    EXPECT_EQ(Saved().count(Viewer), 0u);
    for (const std::string name : {"/viewer", "/viewer,", "/viewer2"})
        EXPECT_EQ(SHDeleteValueA(HKEY_LOCAL_MACHINE, roots, name.c_str()) == ERROR_SUCCESS,
                  name == "/viewer2");
}

TEST_F(WebStoreTest, AMappingComesFirstAndReplacesEveryOlderOne) {
    metabase::Keys keys = metabase::NewServer();
    keys[Viewer];
    TextList& inherited = keys[Root][MD_SCRIPT_MAPS].texts;
    inherited = {L".asp,c", L".rpt,1", L".RPT,2", L".rpt,3,5", L"x.rpt,4", L".rptx,5"};
    Store(keys);
    EXPECT_TRUE(IIS4AddScriptMap(session, "viewer", "rpt", "C:\\new.dll\\", MD_SCRIPT_MAPS));
    EXPECT_THAT(Texts(Viewer, MD_SCRIPT_MAPS),
                ElementsAre(L".rpt,C:\\new.dll,1", L".asp,c", L".RPT,2", L"x.rpt,4", L".rptx,5"));
    EXPECT_THAT(Log(), ElementsAre("IIS4AddScriptMap: Extension 'rpt' mapping to 'C:\\new.dll\\', "
                                   "virtual dir 'viewer'",
                                   "IIS4AddScriptMap: After formats, Extension '.rpt' mapping to "
                                   "'C:\\new.dll', virtual dir 'viewer'"));
    EXPECT_TRUE(IIS4RemoveScriptMap(session, "viewer", ".rpt", MD_SCRIPT_MAPS));
    EXPECT_THAT(Texts(Viewer, MD_SCRIPT_MAPS),
                ElementsAre(L".asp,c", L".RPT,2", L"x.rpt,4", L".rptx,5"));
    EXPECT_TRUE(IIS4RemoveScriptMap(session, "", "rpt", MD_MIME_MAP)) << "there is no list";
    EXPECT_TRUE(IIS4AddScriptMap(session, "viewer", ".rpt", "a/rpt\\", MD_MIME_MAP));
    EXPECT_THAT(Texts(Viewer, MD_MIME_MAP), ElementsAre(L".rpt,a/rpt\\"));
}

TEST_F(WebStoreTest, TheExtensionListGrowsWithEveryAdd) {
    metabase::Keys keys = metabase::NewServer();
    keys[L"/LM/W3SVC"].clear();
    Store(keys);
    const std::string remove = "[IIS4RemoveWebSvcExtension] ", add = "[IIS4AddWebSvcExtension] ";
    SentLines sent;
    EXPECT_TRUE(IIS4AddWebSvcExtension(session, "0,*.dll", "xazISAPI.dll"));
    EXPECT_THAT(sent.lines,
                ElementsAre(add + "start with 0,*.dll", add + "Open key /LM/W3svc",
                            add + "WebSvcExtRestrictionList is empty!!!!",
                            add + "SetMetabaseMultiSzValueServer success", add + "is done"));
    const ReplacedImport<decltype(TellVersion)> getVersion("GetVersionExA", TellVersion);
    system_ = {6, 0, 0};
    for (const bool adds : {true, true, false})
        ConfigureWebSvcExtension(session, "C:\\xazISAPI.dll", adds);
    const wchar_t entry[] = L"1,C:\\xazISAPI.dll,1,,Tarnwick Lumo";
    EXPECT_THAT(Texts(L"/LM/W3SVC", ExtensionList), ElementsAre(entry, entry, L"0,*.dll"));
    sent.lines.clear();
    answers["SaveData"] = {E_FAIL};
    EXPECT_FALSE(IIS4RemoveWebSvcExtension(session, "", "xazisapi.dll"));
    EXPECT_THAT(
        sent.lines,
        ElementsAre(remove + "Open key /LM/W3svc", remove + "WebSvcExtRestrictionList is found",
                    remove + "Finding xazisapi.dll.", remove + "Found entry of xazisapi.dll.",
                    remove + "Found entry of xazisapi.dll.",
                    remove + "SetMetabaseMultiSzValueServer success",
                    remove + "CMSAdminBase.CommitKeyChanges failed", remove + "is done"));
}

TEST_F(WebStoreTest, AListThatCannotBeReadIsNotOverwritten) {
    metabase::Keys keys = metabase::NewServer();
    keys[Viewer];
    keys[Root][MD_SCRIPT_MAPS].texts = {L".asp,c"};
    keys[L"/LM/W3SVC"][ExtensionList].texts = {L"0,*.dll"};
    keys[L"/LM/W3SVC"][ExtensionList].userType = IIS_MD_UT_SERVER;
    const std::string entry = "1,C:\\x.dll,1,,x";
    const struct {
        std::function<bool()> change;
        std::string failed;
    } cases[] = {
        {[&] { return IIS4AddScriptMap(session, "viewer", "rpt", "t", MD_SCRIPT_MAPS); },
         "IIS4AddScriptMap: CMSAdminBase.SetScriptMap failed"},
        {[&] { return IIS4RemoveScriptMap(session, "viewer", "asp", MD_SCRIPT_MAPS); },
         "IIS4RemoveScriptMap: CMSAdminBase.SetScriptMap failed"},
        {[&] { return IIS4AddWebSvcExtension(session, entry, "x.dll"); },
         "[IIS4AddWebSvcExtension] SetMetabaseMultiSzValueServer fails [-2147467259]"},
    };
    const HRESULT grown = HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
    for (const auto& row : cases) {
        SCOPED_TRACE(row.failed);
        Store(keys);
        for (const size_t good : {0u, 1u}) { // the look for the size, and the read
            answers["GetData"].assign(good, S_OK);
            answers["GetData"].push_back(E_FAIL);
            calls.clear();
            SentLines sent;
            EXPECT_FALSE(row.change());
            EXPECT_TRUE(Contains(sent.lines, row.failed));
            EXPECT_FALSE(Contains(calls, "SetData"));
        }
        answers["GetData"] = {grown}; // after the size was told
        EXPECT_TRUE(row.change());
    }
    EXPECT_THAT(Texts(L"/LM/W3SVC", ExtensionList), ElementsAre(L"1,C:\\x.dll,1,,x", L"0,*.dll"));
}

TEST_F(WebStoreTest, NoNameMeansTheSitesRoot) {
    for (const std::string name : {"", "/", "//", "\\"}) {
        EXPECT_FALSE(IIS4AddVirtualDir(session, name, "C:\\x", 1, ""));
        EXPECT_EQ(Log().back(), "IIS4AddVirtualDir: No szOrigVirtualDir given");
        EXPECT_FALSE(IIS4RemoveVirtualDir(session, name, ""));
    }
    IIS4RemoveVirtualDir(session, "-", "/;//");
    EXPECT_EQ(Log().back(), "IIS4AddVirtualDir: Failed to create application directory //");
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(WebStoreTest, ANameThatCannotBeConvertedChangesNothing) {
    const ReplacedImport<decltype(ConvertAllBut)> convert("MultiByteToWideChar", ConvertAllBut);
    convertOriginal = convert.Original();
    EXPECT_FALSE(IIS4AddVirtualDir(session, "bad", "C:\\x", 1, ""));
    EXPECT_TRUE(IIS4AddVirtualDir(session, "good", "C:\\x", 1, "bad"));
    EXPECT_FALSE(IIS4RemoveVirtualDir(session, "bad", ""));
    EXPECT_FALSE(IIS4AddScriptMap(session, "bad", "r", "t", MD_MIME_MAP));
    EXPECT_FALSE(IIS4AddScriptMap(session, "", "r", "bad", MD_MIME_MAP));
    EXPECT_FALSE(IIS4AddWebSvcExtension(session, "1", "bad"));
    EXPECT_FALSE(Contains(calls, "DeleteKey"));
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetData "), 0)
        << "nothing at the site's root";
}

TEST_F(WebStoreTest, OnlyNewerServersKeepAnExtensionList) {
    const ReplacedImport<decltype(TellVersion)> getVersion("GetVersionExA", TellVersion);
    const std::string prefix = "[ConfigureWebSvcExtension]: ";
    const struct {
        std::array<DWORD, 3> system;
        std::string last;
    } cases[] = {{{5, 1, 99999}, prefix + "Invalid OS 5:1 [99999]"},
                 {{5, 2, 2600}, prefix + "Invalid OS 5:2 [2600]"},
                 {{5, 2, 2601}, "[IIS4AddWebSvcExtension] is done"}};
    SentLines sent;
    for (const auto& row : cases) {
        system_ = row.system;
        ConfigureWebSvcExtension(session, "C:\\x.dll", true);
        EXPECT_EQ(sent.lines.back(), row.last);
    }
    EXPECT_TRUE(Contains(sent.lines, prefix + "Running IIS4AddWebSvcExtension 1,C:\\x.dll,1,,"
                                              "Tarnwick Lumo xazISAPI.dll"));
}

TEST_F(WebStoreTest, ABusyStoreIsTriedTenTimes) {
    for (const char* method : {"OpenKey", "SaveData"})
        for (const int busyTimes : {9, 10}) {
            answers[method].assign(static_cast<size_t>(busyTimes),
                                   HRESULT_FROM_WIN32(ERROR_PATH_BUSY));
            calls.clear();
            EXPECT_EQ(IIS4RemoveScriptMap(session, "", "asp", MD_SCRIPT_MAPS), busyTimes == 9);
            EXPECT_EQ(std::count(calls.begin(), calls.end(), "Sleep 3000"), 9) << method;
        }
}

TEST_F(WebStoreTest, EveryFailingStepHasItsLineAndNothingStaysOpen) {
    const auto addDir = [&] { return IIS4AddVirtualDir(session, "v", "C:\\x", 1, ""); };
    const auto addBelow = [&] { return IIS4AddVirtualDir(session, "none/below", "C:\\x", 1, ""); };
    const auto removeDir = [&] { return IIS4RemoveVirtualDir(session, "v", ""); };
    const auto addMap = [&] { return IIS4AddScriptMap(session, "", "r", "t", MD_MIME_MAP); };
    const auto removeMap = [&] { return IIS4RemoveScriptMap(session, "", "asp", MD_SCRIPT_MAPS); };
    const auto allow = [&] { return IIS4AddWebSvcExtension(session, "1", "x"); };
    const struct {
        std::string name, failing; // what the last line begins with; the call
        std::function<bool()> change;
        std::string line; // the rest
    } cases[] = {
        {"IIS4AddVirtualDir", "CoCreateInstance", addDir, ": adminBase.Init returned false."},
        {"IIS4AddVirtualDir", "OpenKey", addDir, ": Couldn't open /LM/W3svc/1/ROOT"},
        {"IIS4AddVirtualDir", "SaveData", addDir, ": CMSAdminBase.CommitKeyChanges failed"},
        {"IIS4AddVirtualDir", "AddKey", addBelow, ":  CMSAdminBase.CreateVirtualDir failed"},
        {"IIS4RemoveVirtualDir", "CoCreateInstance", removeDir, ": adminBase.Init returned false."},
        {"(no line)", "DeleteKey", removeDir, ""},
        {"IIS4AddScriptMap", "CoCreateInstance", addMap, ": adminBase.Init returned false."},
        {"IIS4AddScriptMap", "OpenKey", addMap, ": Couldn't open key /LM/W3svc/1/ROOT"},
        {"IIS4AddScriptMap", "SaveData", addMap, ": CMSAdminBase.CommitKeyChanges failed"},
        {"IIS4RemoveScriptMap", "OpenKey", removeMap,
         ": CMSAdminBase.OpenMetabaseKey(/LM/W3SVC/1/ROOT) failed"},
        {"IIS4AddWebSvcExtension", "CoCreateInstance", allow, ": adminBase.Init returned false."},
        {"[IIS4AddWebSvcExtension]", "OpenKey", allow, " Couldn't open key /LM/W3svc"},
    };
    SentLines sent;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name + ", " + row.failing);
        sent.lines = {row.name};
        answers[row.failing] = {E_FAIL};
        EXPECT_FALSE(row.change());
        EXPECT_EQ(sent.lines.back(), row.name + row.line);
        EXPECT_TRUE(Saved().empty());
    }
}
