#include "web/web_server_store.h"

#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/web_store_test.h"
#include "web/metabase.h"

#include <gmock/gmock.h>

#include <functional>

using namespace setupactions;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

const HRESULT Busy = HRESULT_FROM_WIN32(ERROR_PATH_BUSY);
const wchar_t Root[] = L"/LM/W3SVC/1/ROOT";
const wchar_t Viewer[] = L"/LM/W3SVC/1/ROOT/viewer";

const metabase::Value Number(DWORD number, DWORD userType) {
    return {METADATA_INHERIT, userType, DWORD_METADATA, number, {}};
}

const metabase::Value Text(const wchar_t* text, DWORD attributes, DWORD userType) {
    return {attributes, userType, STRING_METADATA, 0, {text}};
}

std::string Described(const metabase::Values& values) {
    return metabase::FormatTree({{L"/key", values}});
}

// What the system says about its version.
OSVERSIONINFOEXA system_;
BOOL WINAPI TellVersion(OSVERSIONINFOA* version) {
    if (version->dwOSVersionInfoSize != sizeof system_ || system_.dwMajorVersion == 0)
        return FALSE;
    *reinterpret_cast<OSVERSIONINFOEXA*>(version) = system_;
    return TRUE;
}

} // namespace

TEST_F(WebStoreTest, AVirtualDirectoryGetsItsValues) {
    EXPECT_TRUE(IIS4AddVirtualDir(session, "/viewer", "C:\\Suite\\viewer\\\\", 513,
                                  "/viewer;;/viewer/admin;"));
    EXPECT_THAT(Log(),
                ElementsAre("IIS4AddVirtualDir: Mapping /viewer to C:\\Suite\\viewer\\\\ with "
                            "attributes 513",
                            "IIS4AddVirutalDir: Created application directory /viewer",
                            "IIS4AddVirutalDir: Created application directory /viewer/admin"));
    metabase::Keys keys = Saved();
    EXPECT_EQ(Described(keys[Viewer]), Described({{1002, Text(L"IIsWebVirtualDir", 0, 1)},
                                                  {2102, Text(L"", 1, 100)},
                                                  {2103, Text(L"/LM/W3SVC/1/ROOT/viewer", 1, 2)},
                                                  {2104, Number(2, 100)},
                                                  {3001, Text(L"C:\\Suite\\viewer\\", 1, 2)},
                                                  {6005, Number(0x4000001E, 2)},
                                                  {6016, Number(0x205, 2)},
                                                  {6022, Number(0, 2)}}));
    EXPECT_EQ(keys.count(L"/LM/W3SVC/1/ROOT/viewer/admin"), 1u);

    const std::string before = Described(keys[Viewer]);
    ClearMessages();
    EXPECT_TRUE(IIS4AddVirtualDir(session, "viewer", "D:\\other", 1, ""));
    EXPECT_EQ(Described(Saved()[Viewer]), before) << "one that is there is left as it is";
    EXPECT_TRUE(Contains(Log(), "IIS4AddVirtualDir: No application directory for viewer"));
}

TEST_F(WebStoreTest, OnlyWebinfoIsForAnonymousVisitorsOnly) {
    EXPECT_TRUE(IIS4AddVirtualDir(session, "/WebInfo", "C:\\x", 1, ""));
    EXPECT_TRUE(IIS4AddVirtualDir(session, "webinfo2", "C:\\x", 1, ""));
    metabase::Keys keys = Saved();
    EXPECT_EQ(keys[L"/LM/W3SVC/1/ROOT/WebInfo"].count(MD_AUTHORIZATION), 1u);
    EXPECT_EQ(keys[L"/LM/W3SVC/1/ROOT/webinfo2"].count(MD_AUTHORIZATION), 0u);
}

TEST_F(WebStoreTest, AFailingValueEndsNoDirectory) {
    unwritable = {MD_VR_PATH, MD_APP_ROOT};
    EXPECT_TRUE(IIS4AddVirtualDir(session, "viewer", "C:\\x", 1, "/viewer;/none/below;/last"));
    EXPECT_EQ(Log().back(), "IIS4AddVirtualDir: Failed to create application directory /last");
    metabase::Values values = Saved()[Viewer];
    EXPECT_EQ(values[MD_APP_ISOLATED].number, 2u) << "all writes are attempted";
    EXPECT_EQ(values[MD_ACCESS_PERM].number, 0x205u);
}

TEST_F(WebStoreTest, ApplicationPathsMayHave260Characters) {
    const std::string longest = "/" + std::string(259, 'a');
    EXPECT_TRUE(IIS4AddVirtualDir(session, "viewer", "C:\\x", 1, longest));
    EXPECT_EQ(Saved().count(Root + Widen(longest)), 1u);

    const std::string tooLong = longest + "b";
    const std::string dirs = "/early;" + tooLong + ";/late";
    calls.clear();
    EXPECT_FALSE(IIS4AddVirtualDir(session, "later", "C:\\x", 1, dirs));
    EXPECT_FALSE(IIS4RemoveVirtualDir(session, "-later", dirs));
    EXPECT_EQ(Log().back(), "II4AddVirtualDir: ERROR, " + tooLong +
                                " is longer than MAX_PATH! Aborting operation..");
    EXPECT_THAT(calls, testing::Not(testing::Contains("SaveData")));
}

TEST_F(WebStoreTest, ADashStandsForTheApplicationDirectoriesAlone) {
    EXPECT_TRUE(IIS4AddVirtualDir(session, "-viewer", "C:\\x", 1, "/viewer"));
    EXPECT_THAT(Log(), ElementsAre("Only creating application dir"));
    EXPECT_THAT(calls, IsEmpty());

    ClearMessages();
    answers["DeleteKey"] = {S_FALSE};
    EXPECT_TRUE(IIS4RemoveVirtualDir(session, "-viewer", "/gone;/viewer"));
    // From the store's root, which the store lets nobody write through.
    EXPECT_EQ(Log().back(), "IIS4AddVirtualDir: Failed to create application directory /viewer");
    EXPECT_THAT(calls, ElementsAre("DeleteKey /gone", "DeleteKey /viewer"));
}

TEST_F(WebStoreTest, RemovingAVirtualDirectoryForgetsItsOlderRecordToo) {
    const char roots[] = "System\\CurrentControlSet\\Services\\W3SVC\\Parameters\\Virtual Roots";
    for (const char* name : {"/viewer", "/viewer,", "/viewer2"})
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, roots, name, "C:\\x");
    EXPECT_TRUE(IIS4AddVirtualDir(session, "viewer", "C:\\x", 1, "/viewer/below"));
    EXPECT_TRUE(IIS4RemoveVirtualDir(session, "/viewer", "/ignored"));
    EXPECT_EQ(Saved().count(Viewer), 0u);
    EXPECT_EQ(Saved().count(L"/LM/W3SVC/1/ROOT/viewer/below"), 0u);
    const RegistryKey key = PrivateRegistry::Key(HKEY_LOCAL_MACHINE, roots);
    DWORD count = 0;
    RegQueryInfoKeyA(key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count,
                     nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(count, 1u);

    ClearMessages();
    EXPECT_FALSE(IIS4RemoveVirtualDir(session, "/viewer", "")) << "it is gone";
}

TEST_F(WebStoreTest, AMappingComesFirstAndReplacesEveryOlderOne) {
    metabase::Keys keys = metabase::NewServer();
    keys[Viewer];
    Store(keys);
    const std::wstring inherited = keys[Root][MD_SCRIPT_MAPS].texts.at(0);

    EXPECT_TRUE(IIS4AddScriptMap(session, "viewer", "rpt", "C:\\old.dll", MD_SCRIPT_MAPS));
    EXPECT_TRUE(IIS4AddScriptMap(session, "viewer", "csp", "C:\\c.dll", MD_SCRIPT_MAPS));
    EXPECT_TRUE(IIS4AddScriptMap(session, "viewer", ".rpt", "C:\\new.dll\\", MD_SCRIPT_MAPS));
    EXPECT_THAT(Texts(Viewer, MD_SCRIPT_MAPS),
                ElementsAre(L".rpt,C:\\new.dll,1", L".csp,C:\\c.dll,1", inherited));

    EXPECT_TRUE(IIS4AddScriptMap(session, "viewer", "rpt", "a/rpt\\", MD_MIME_MAP));
    EXPECT_THAT(Texts(Viewer, MD_MIME_MAP), ElementsAre(L".rpt,a/rpt\\"));

    calls.clear();
    EXPECT_TRUE(IIS4RemoveScriptMap(session, "viewer", "none", MD_SCRIPT_MAPS));
    EXPECT_THAT(calls, testing::Contains("SetData viewer 6014")) << "written back unchanged";
    EXPECT_TRUE(IIS4RemoveScriptMap(session, "viewer", "rpt", MD_SCRIPT_MAPS));
    EXPECT_THAT(Texts(Viewer, MD_SCRIPT_MAPS), ElementsAre(L".csp,C:\\c.dll,1", inherited));
    EXPECT_TRUE(IIS4RemoveScriptMap(session, "", "rpt", MD_MIME_MAP)) << "there is no list";
    EXPECT_EQ(Saved()[Root].count(MD_MIME_MAP), 0u) << "nor is one made";
}

TEST_F(WebStoreTest, TheExtensionListGrowsWithEveryAdd) {
    const ReplacedImport<decltype(TellVersion)> getVersion("GetVersionExA", TellVersion);
    system_ = {};
    system_.dwMajorVersion = 6;
    const wchar_t entry[] = L"1,C:\\xazISAPI.dll,1,,Tarnwick Lumo";
    ConfigureWebSvcExtension(session, "C:\\xazISAPI.dll", true);
    ConfigureWebSvcExtension(session, "C:\\xazISAPI.dll", true);
    ConfigureWebSvcExtension(session, "C:\\xazISAPI.dll", false);
    EXPECT_THAT(Texts(L"/LM/W3SVC", 2168), ElementsAre(entry, entry, L"0,*.dll", L"0,*.exe"));
    ClearMessages();
    EXPECT_TRUE(IIS4RemoveWebSvcExtension(session, "", "xazisapi.dll"));
    EXPECT_THAT(Texts(L"/LM/W3SVC", 2168), ElementsAre(L"0,*.dll", L"0,*.exe"));
    EXPECT_TRUE(Contains(Log(), "Found entry of xazisapi.dll."));
}

TEST_F(WebStoreTest, AnEmptyExtensionListIsSaidToBeEmpty) {
    metabase::Keys keys = metabase::NewServer();
    keys[L"/LM/W3SVC"].clear();
    Store(keys);
    EXPECT_TRUE(IIS4AddWebSvcExtension(session, "1,x", "x"));
    EXPECT_THAT(Texts(L"/LM/W3SVC", 2168), ElementsAre(L"1,x"));
    EXPECT_TRUE(Contains(Log(), "WebSvcExtRestrictionList is empty!!!!"));
}

TEST_F(WebStoreTest, OnlyNewerServersKeepAnExtensionList) {
    const ReplacedImport<decltype(TellVersion)> getVersion("GetVersionExA", TellVersion);
    const struct {
        DWORD major, minor, build;
        bool kept;
    } cases[] = {{0, 0, 0, false},   {5, 1, 99999, false}, {5, 2, 2600, false},
                 {5, 2, 2601, true}, {6, 0, 0, true},      {4, 9, 9999, false}};
    for (const auto& row : cases) {
        system_.dwMajorVersion = row.major;
        system_.dwMinorVersion = row.minor;
        system_.dwBuildNumber = row.build;
        ClearMessages();
        calls.clear();
        ConfigureWebSvcExtension(session, "C:\\x.dll", true);
        EXPECT_EQ(calls.empty(), !row.kept) << row.major << "." << row.minor << "." << row.build;
        const std::string line = row.major == 0
                                     ? ": Cannot GetVersionEx"
                                     : Format(": Invalid OS %lu:%lu", row.major, row.minor);
        EXPECT_EQ(Contains(Log(), line), !row.kept) << line;
    }
}

TEST_F(WebStoreTest, ABusyStoreIsTriedTenTimes) {
    const auto run = [&](const std::string& method, int busyTimes) {
        answers[method].assign(static_cast<size_t>(busyTimes), Busy);
        calls.clear();
        return IIS4AddScriptMap(session, "", "rpt", "a/rpt", MD_MIME_MAP);
    };
    for (const char* method : {"OpenKey", "SaveData"}) {
        EXPECT_TRUE(run(method, 9)) << method;
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "Sleep 3000"), 9) << method;
        EXPECT_FALSE(run(method, 10)) << method;
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "Sleep 3000"), 9) << method;
    }
    answers["OpenKey"] = {E_ACCESSDENIED};
    EXPECT_FALSE(run("SaveData", 0));
    EXPECT_THAT(calls, ElementsAre("OpenKey /LM/W3svc/1/ROOT")) << "refused is not busy";
}

TEST_F(WebStoreTest, EveryFailingStepHasItsLineAndNothingStaysOpen) {
    using Operation = std::function<bool()>;
    const Operation addDir = [&] { return IIS4AddVirtualDir(session, "v", "C:\\x", 1, ""); };
    const Operation removeDir = [&] { return IIS4RemoveVirtualDir(session, "v", ""); };
    const Operation addMap = [&] { return IIS4AddScriptMap(session, "", "r", "t", 6015); };
    const Operation removeMap = [&] { return IIS4RemoveScriptMap(session, "", "asp", 6014); };
    const Operation addExtension = [&] { return IIS4AddWebSvcExtension(session, "1", "x"); };
    const Operation removeExtension = [&] { return IIS4RemoveWebSvcExtension(session, "1", "x"); };
    const Operation noName = [&] { return IIS4AddVirtualDir(session, "", "C:\\x", 1, ""); };
    // The engine may have taken a name in square brackets out of a line: those
    // are compared by what follows it.
    const struct {
        const Operation& run;
        const char* failing;
        const char* line; // null: no line for the failure
    } cases[] = {
        {addDir, "CoInitialize", "IIS4AddVirtualDir: Couldn't call CAutoCoInitialize.Initialize()"},
        {addDir, "CoCreateInstance", "IIS4AddVirtualDir: adminBase.Init returned false."},
        {addDir, "OpenKey", "IIS4AddVirtualDir: Couldn't open /LM/W3svc/1/ROOT"},
        {addDir, "AddKey", "IIS4AddVirtualDir:  CMSAdminBase.CreateVirtualDir failed"},
        {addDir, "CloseKey", "IIS4AddVirtualDir: CMSAdminBase.CommitKeyChanges failed"},
        {addDir, "SaveData", "IIS4AddVirtualDir: CMSAdminBase.CommitKeyChanges failed"},
        {noName, "", "IIS4AddVirtualDir: No szOrigVirtualDir given"},
        {removeDir, "CoInitialize",
         "IIS4RemoveVirtualDir: CAutoCoInitialize.Initialize failed for virtual dir v"},
        {removeDir, "CoCreateInstance", "IIS4RemoveVirtualDir: adminBase.Init returned false."},
        {removeDir, "OpenKey", nullptr},
        {removeDir, "DeleteKey", nullptr},
        {addMap, "CoInitialize", "IIS4AddScriptMap: Couldn't call CAutoCoInitialize.Initialize()"},
        {addMap, "CoCreateInstance", "IIS4AddScriptMap: adminBase.Init returned false."},
        {addMap, "OpenKey", "IIS4AddScriptMap: Couldn't open key /LM/W3svc/1/ROOT"},
        {addMap, "SetData", "IIS4AddScriptMap: CMSAdminBase.SetScriptMap failed"},
        {addMap, "SaveData", "IIS4AddScriptMap: CMSAdminBase.CommitKeyChanges failed"},
        {removeMap, "CoInitialize",
         "IIS4RemoveScriptMap: Couldn't call CAutoCoInitialize.Initialize()"},
        {removeMap, "CoCreateInstance", "IIS4RemoveScriptMap: adminBase.Init returned false."},
        {removeMap, "OpenKey",
         "IIS4RemoveScriptMap: CMSAdminBase.OpenMetabaseKey(/LM/W3SVC/1/ROOT) failed"},
        {removeMap, "SetData", "IIS4RemoveScriptMap: CMSAdminBase.SetScriptMap failed"},
        {removeMap, "CloseKey", "IIS4RemoveScriptMap: CMSAdminBase.CommitKeyChanges failed"},
        {addExtension, "CoInitialize", " Couldn't call CAutoCoInitialize.Initialize()"},
        {addExtension, "CoCreateInstance",
         "IIS4AddWebSvcExtension: adminBase.Init returned false."},
        {addExtension, "OpenKey", " Couldn't open key /LM/W3svc"},
        {addExtension, "SaveData", " CMSAdminBase.CommitKeyChanges failed"},
        {removeExtension, "CoCreateInstance",
         "IIS4RemoveWebSvcExtension: adminBase.Init returned false."},
        {removeExtension, "OpenKey", " Couldn't open key /LM/W3svc"},
    };
    for (const auto& row : cases) {
        ClearMessages();
        if (*row.failing != '\0')
            answers[row.failing] = {E_FAIL};
        EXPECT_FALSE(row.run()) << row.failing;
        if (row.line == nullptr)
            EXPECT_THAT(Log(), IsEmpty()) << row.failing;
        else
            EXPECT_TRUE(Contains(Log(), row.line)) << row.line;
        EXPECT_TRUE(Saved().empty()) << row.failing << ": nothing was saved";
    }
}

TEST_F(WebStoreTest, AListThatFitsNoMemoryIsAFailureAndNoCrash) {
    answers["GetData"] = {HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER)};
    EXPECT_FALSE(IIS4AddScriptMap(session, "", "rpt", "a/rpt", MD_MIME_MAP));
    EXPECT_TRUE(Contains(Log(), "IIS4AddScriptMap: CMSAdminBase.SetScriptMap failed"));
}
