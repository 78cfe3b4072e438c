#include "tools/actionhost/package_check.h"

#include <gmock/gmock.h>

using namespace actionhost;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const int Immediate = 1;
const int Deferred = 1 + 0x400 + 0x800;
const int SetsProperty = 51;
const char Unzip[] = "UnzipFiles.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";
const char InstallMdac[] = "InstallMDAC.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9";

struct Scheduled {
    CustomActionRow row;
    int sequence; // 0: not scheduled
    const char* condition = "";
};

PackageRows PackageWith(const std::vector<Scheduled>& actions) {
    PackageRows package;
    package.binaries = {"setupactions", "other"};
    package.executeSequence = {{"InstallInitialize", {500, ""}}, {"InstallFinalize", {6600, ""}}};
    for (const Scheduled& action : actions) {
        package.customActions.push_back(action.row);
        if (action.sequence != 0)
            package.executeSequence[action.row.id] = {action.sequence, action.condition};
    }
    return package;
}

} // namespace

TEST(PackageCheck, CountsTheDistanceBetweenNames) {
    EXPECT_EQ(EditDistance("", ""), 0u);
    EXPECT_EQ(EditDistance("GetPid", "GtePid"), 2u);
    EXPECT_EQ(EditDistance("kitten", "sitting"), 3u);
}

TEST(PackageCheck, JudgesRowsOneByOne) {
    const struct {
        CustomActionRow row;
        const char* finding; // empty: none
    } cases[] = {
        {{"Own", Immediate, "setupactions", "GetPid"}, ""},
        {{"X", Immediate, "setupactions", "GetPdi"}, "did you mean GetPid?"},
        {{"X", Immediate, "setupactions", "getpid"}, "did you mean GetPid?"},
        {{"X", Immediate, "setupactions", "_GetPid@4"}, "did you mean GetPid?"},
        {{"X", Immediate, "setupactions", "SomethingElse"}, "actionhost --list"},
        {{"X", Immediate, "setupactions", ""}, "names no entry"},
        {{"X", Immediate, "missing", "GetPid"}, "add the Binary row missing"},
        {{"X", Deferred, "setupactions", "GetPid"}, "runs immediate only"},
        {{"X", Immediate, "setupactions", "StopAPSService"}, "runs deferred only"},
        {{"X", Deferred + 0x100, "setupactions", "StopAPSService"}, ""}, // as a rollback
        {{"X", 1 + 0x400, "setupactions", "StopAPSService"}, "add 2048 to Type"},
        {{"X", Deferred, "setupactions", "CommitWindowsSettings"},
         "must come after InstallFinalize"},
        {{"X", Immediate, "other", "GetPdi"}, ""},                       // another library's entry
        {{"X", 2, "setupactions", "GetPdi"}, ""},                        // a program, no DLL
        {{"X", Immediate | 0x40, "setupactions", ""}, "names no entry"}, // goes on when it fails
    };
    for (const auto& row : cases) {
        const auto findings = CheckPackage(PackageWith({{row.row, 1000}})).findings;
        if (*row.finding == '\0')
            EXPECT_THAT(findings, IsEmpty()) << row.row.source << ' ' << row.row.target;
        else
            EXPECT_THAT(findings,
                        ElementsAre(AllOf(HasSubstr("action X: "), HasSubstr(row.finding))))
                << row.row.target;
    }
}

TEST(PackageCheck, KnowsTheLibraryUnderAnyName) {
    const CheckResult result = CheckPackage(PackageWith({
        {{"A", Immediate, "other", "GetPid"}, 1000},
        {{"B", Immediate, "other", "GetPit"}, 0},
        {{"C", Immediate, "third", "GetPit"}, 1001},
    }));
    EXPECT_EQ(result.rows, 2);
    EXPECT_EQ(result.scheduled, 1);
    EXPECT_THAT(result.calls, ElementsAre(" 1000  immediate A -> GetPid", "not scheduled: B"));
    EXPECT_THAT(result.findings, ElementsAre(HasSubstr("action B: ")));
}

TEST(PackageCheck, FollowsActionDataToItsSource) {
    const Scheduled viewer = {{"Copy", Deferred, "setupactions", "CopyHTMLViewerToPFCD"}, 4000};
    const Scheduled unzip = {
        {Unzip, Deferred, "setupactions", "UncompressZipFile"}, 4000, "NOT UPGRADINGPRODUCTCODE"};
    const Scheduled redist = {{InstallMdac, Deferred, "setupactions", "InstallRedist"}, 4000};
    const Scheduled publish = {{"Publish", Deferred, "setupactions", "PublishDemo"}, 4000};
    const auto calls = [](const char* entry, int sequence) {
        return Scheduled{
            {"Source", Immediate, "setupactions", entry}, sequence, "NOT REMOVE=\"ALL\""};
    };
    const auto sets = [](const char* property, int sequence) {
        return Scheduled{{"Set", SetsProperty, property, "x"}, sequence};
    };
    const struct {
        const char* title;
        std::vector<Scheduled> actions;
        const char* finding;
    } cases[] = {
        {"nothing sets it", {viewer}, "set the property Copy in an immediate action"},
        {"its property is set", {viewer, sets("Copy", 3000)}, ""},
        {"it is set too late", {viewer, sets("Copy", 4001)}, "set the property Copy"},
        {"it is not scheduled itself", {{viewer.row, 0}}, ""},
        {"it comes after the script", {{viewer.row, 6600}, sets("Copy", 3000)}, "move it between"},
        {"its partner runs", {unzip, calls("UncompressZipFile", 3000)}, ""},
        {"it has no partner", {unzip}, "schedule UncompressZipFile immediate before it"},
        {"a rollback row works from its record",
         {{{"Back", Deferred + 0x100, "setupactions", "CopyHTMLViewerToPFCD"}, 3999}},
         ""},
        {"a commit row needs the product",
         {{{"Copy", Deferred + 0x200, "setupactions", "CopyHTMLViewerToPFCD"}, 5000},
          {{"Set", SetsProperty, "Copy", "[ProductCode]"}, 3000}},
         ""},
        {"and no other data",
         {{{"Copy", Deferred + 0x200, "setupactions", "CopyHTMLViewerToPFCD"}, 5000},
          sets("Copy", 3000)},
         "set the property Copy to [ProductCode]"},
        {"one of several partners runs", {redist, calls("CheckMDAC25Installed", 3000)}, ""},
        {"a partner of another Id", {redist, calls("CheckNotesSQL", 3000)}, "CheckMDAC"},
        {"its Id is another",
         {publish, calls("PublishDemoHelper", 3000)},
         "the Id AddLumoSamples."},
        {"its Id is another, but the package sets it", {publish, sets("Publish", 3000)}, ""},
    };
    for (const auto& row : cases) {
        const auto findings = CheckPackage(PackageWith(row.actions)).findings;
        if (*row.finding == '\0')
            EXPECT_THAT(findings, IsEmpty()) << row.title;
        else
            EXPECT_THAT(findings, Contains(HasSubstr(row.finding))) << row.title;
    }

    PackageRows package = PackageWith({viewer});
    package.properties["Copy"] = "a|b";
    EXPECT_THAT(CheckPackage(package).findings, IsEmpty()) << "a row of the Property table";
}

TEST(PackageCheck, NamesWhatAFailedInstallationLeaves) {
    const Scheduled stop = {{"Stop", Deferred, "setupactions", "StopAPSService"}, 1910};
    const auto back = [](const char* entry, int sequence) {
        return Scheduled{{"Back", Deferred + 0x100, "setupactions", entry}, sequence};
    };
    const auto remarks = [](const std::vector<Scheduled>& actions) {
        return CheckPackage(PackageWith(actions)).remarks;
    };
    const auto named = ElementsAre("StopAPSService has no rollback row before it: what a failed "
                                   "installation leaves: the server is stopped");
    EXPECT_THAT(remarks({stop}), named);
    EXPECT_THAT(remarks({stop, back("StopAPSService", 1909)}), IsEmpty());
    EXPECT_THAT(remarks({stop, back("StopAPSService", 1911)}), named) << "too late";
    EXPECT_THAT(remarks({stop, back("StartAPSService", 1909)}), named) << "of another action";
    EXPECT_THAT(remarks({{stop.row, 0}}), IsEmpty());
}

// The faults that a package made of the kit can have are put into one by the kit's
// test; here is what its schedule does not show.
TEST(PackageCheck, WeighsPlaceAndCondition) {
    const auto calls = [](const char* entry, int sequence, const char* condition = "",
                          const char* id = nullptr, int type = Immediate) {
        return Scheduled{
            {id == nullptr ? entry : id, type, "setupactions", entry}, sequence, condition};
    };
    const int rollback = Deferred + 0x100;
    const struct {
        const char* title;
        std::vector<Scheduled> actions;
        const char* finding;
    } cases[] = {
        {"the partner is not scheduled",
         {calls("MsiPrepWebConfigFile", 6640, "$Pages=3"), calls("MsiMergeFiles", 0)},
         ""},
        {"a rollback row is no partner",
         {calls("StartAPSService", 1000, "", "StartRollback", rollback),
          calls("StopAPSService", 1100, "", nullptr, Deferred),
          calls("StartAPSService", 1050, "", nullptr, Deferred)},
         "StopAPSService must come before StartAPSService (1050)"},
        {"a removal of its own",
         {calls("MsiCreateWebPartUnInstallBatchFile", 6640, "REMOVE=\"ALL\""),
          calls("MsiRunCmdlineSilent", 6642, "NOT Installed"),
          calls("MsiRunCmdlineSilent", 6641, "REMOVE=\"ALL\"", "Removal")},
         ""},
        {"an alternative", {calls("RemoveIPService", 6659, "REMOVE = \"ALL\" OR $Pages=2")}, ""},
        {"none", {calls("RemoveIPService", 6659, "REMOVE = \"ALL\"")}, "take REMOVE=\"ALL\" out"},
        {"no component", {calls("GetPid", 1000, "?pages=3")}, "names pages, which is no component"},
        {"a removal that an upgrade runs, too",
         {calls("DeleteNTUserGroup", 1450, "$Pages=2")},
         "takes the group with its members when an upgrade removes this version"},
        {"one of every run",
         {calls("UncompressZipFile", 1540, "?Pages=3", "Unzip")},
         "takes what lies among the unpacked files"},
        {"an installation", {calls("UncompressZipFile", 1540, "$Pages=3", "Unzip")}, ""},
        {"what an older version takes out",
         {calls("MsiMergeFiles", 6636, "$Pages=3 AND ?Pages<>3"),
          calls("MsiUnMergeFiles", 1442, "$Pages=2")},
         "add OR OLDER to its condition"},
        {"what stays of an older version",
         {calls("SetExcelAddinInstallRegName", 6645, "$Pages=3 AND ?Pages<>3")},
         "add AND NOT OLDER to its condition"},
        {"no partner",
         {calls("MsiMergeFiles", 6636, "$Pages=3")},
         "without MsiUnMergeFiles: the block stands in the file twice"},
    };
    for (const auto& row : cases) {
        PackageRows package = PackageWith(row.actions);
        package.components = {"Pages"};
        package.upgradeProperty = "OLDER";
        package.properties["SecureCustomProperties"] = "SPSBINDIR;SPSNAME";
        const auto findings = CheckPackage(package).findings;
        if (*row.finding == '\0')
            EXPECT_THAT(findings, IsEmpty()) << row.title;
        else
            EXPECT_THAT(findings, ElementsAre(HasSubstr(row.finding))) << row.title;
    }

    PackageRows package = PackageWith({calls("RemoveIPService", 6659), calls("GetPid", 6661),
                                       calls("AddLumo", 6662, "", "Documents")});
    package.properties["SecureCustomProperties"] = "OWN;ADD_LUMO_DOCS_COMMAND";
    const CheckResult result = CheckPackage(package);
    EXPECT_THAT(result.findings, ElementsAre(HasSubstr("take ADD_LUMO_DOCS_COMMAND out")));
    EXPECT_THAT(result.remarks,
                ElementsAre(EndsWith("started elevated: Documents, RemoveIPService")));
}

TEST(PackageCheck, MissesTheRowThatASequenceNames) {
    PackageRows package = PackageWith({{{"GetPid", Immediate, "setupactions", "GetPid"}, 1000},
                                       {{"GetPdi", Immediate, "other", "Own"}, 1001}});
    package.executeSequence["GetPi"] = {1002, ""};
    package.executeSequence["StopAPSService"] = {1003, ""};
    package.executeSequence["StopServices"] = {1900, ""}; // the installer's own
    package.uiSequence["getpid"] = {100, ""};
    EXPECT_THAT(CheckPackage(package).findings,
                ElementsAre(AllOf(HasSubstr("InstallExecuteSequence GetPi: "),
                                  HasSubstr("did you mean GetPid?")),
                            AllOf(HasSubstr("InstallExecuteSequence StopAPSService: "),
                                  HasSubstr("add one that calls StopAPSService")),
                            HasSubstr("InstallUISequence getpid: ")));
}

TEST(PackageCheck, MissesColumns) {
    PackageRows package;
    package.columns["HalcyonInetShortcuts"] = {"InetShortcut", "Component_", "SubVirtualDirectory"};
    package.columns["KestrelUnzipOperations"] = {"Any", "DestinationDirectory"};
    package.columns["KestrelRedirection"] = {};
    package.columns["Unknown"] = {};
    EXPECT_THAT(
        CheckPackage(package).findings,
        ElementsAre(
            HasSubstr("table HalcyonInetShortcuts: has no column SubVirutalDirectory: take"),
            HasSubstr("RegKey"), HasSubstr("RegValue"), HasSubstr("CallNumber")));
}

TEST(PackageCheck, LooksIntoTheTablesRows) {
    PackageRows package;
    package.components = {"Pages"};
    package.usedComponents = {{"HalcyonWebVirtualDir", {"Pages", "pages"}}};
    package.virtualDirs = {{"viewer", "/viewer;/Viewer/app;"},
                           {"-admin", "/anything"},
                           {"reports", "/reports/app;app;/reportsapp"},
                           {"/help", "/help/app"}};
    EXPECT_THAT(CheckPackage(package).findings,
                ElementsAre(HasSubstr("no component pages"),
                            HasSubstr("row reports: the application directory app would stay"),
                            HasSubstr("directory /reportsapp would stay after a removal: begin it "
                                      "with /reports/"),
                            HasSubstr("row /help: take the leading slash off")));
}
