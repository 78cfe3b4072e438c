#include "tools/actionhost/check_report.h"
#include "tools/actionhost/explain.h"
#include "tools/actionhost/package_check.h"
#include "tools/actionhost/reference.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace actionhost;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

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
    EXPECT_THAT(TextReport(result), StartsWith("calls   1000  immediate A -> GetPid\n"
                                               "calls  not scheduled: B\n"));
    EXPECT_THAT(TextReport(result), HasSubstr("checked  2 rows that call the library, 1 of them"));
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

TEST(PackageCheck, WritesItsReportAsJson) {
    CheckResult result;
    result.calls = {{0, "deferred", "A\"\\\xE4", "GetPid"}};
    result.findings = {"table T, row x: wrong: all of it"};
    EXPECT_EQ(JsonReport("p.msi", result), R"({
  "package": "p.msi",
  "calls": [
    {"sequence": null, "when": "deferred", "id": "A\"\\\u00e4", "action": "GetPid"}
  ],
  "findings": [
    {"where": "table T, row x", "text": "wrong: all of it"}
  ],
  "remarks": []
}
)");
}

TEST(Explain, PutsConditionsInWords) {
    const struct {
        const char* condition;
        const char* words;
    } cases[] = {
        {"NOT  Installed AND REMOVE = \"ALL\"",
         "the product is not installed yet and the product is being removed"},
        {"$A.B_1=3 AND ?A.B_1 <> 3", "A.B_1 is put in and A.B_1 was not there before"},
        {"($A=2) OR not OLD", "(A is taken out) or no older version is here"},
        {"OLDER OR INSTALLEDX OR $A=30 OR X=\"OR\"", "OLDER or INSTALLEDX or $A=30 or X=\"or\""},
        {"REINSTALLMODE><\"a\" AND NOT REINSTALL",
         "all files are put in again and nothing is being repaired"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(InWords(row.condition, "OLD"), row.words);
    EXPECT_EQ(InWords("NOT OLD", ""), "NOT OLD");
}

TEST(Explain, TellsWhatEachRowDoesInOrder) {
    const int rollback = 1 + 0x400 + 0x100 + 0x800;
    PackageRows package = PackageWith({
        {{"Copy", Deferred, "setupactions", "CopyHTMLViewerToPFCD"}, 4030, "Installed"},
        {{"CopyBack", rollback, "setupactions", "CopyHTMLViewerToPFCD"}, 4029},
        {{"SetCopy", SetsProperty, "Copy", "[A]|[B]"}, 1000},
        {{"SetCopyAgain", SetsProperty, "Copy", "[C]|[B]"}, 4040},
        {{"Pwd", SetsProperty, "DATABASEPWD", "secret"}, 400},
        {{"Merge", Immediate, "setupactions", "MsiMergeFiles"}, 6630},
        {{"Own", 1, "other", "Something"}, 6640},
        {{"Elsewhere", Immediate, "setupactions", "GetPid"}, 0},
    });
    package.properties = {{"MsiHiddenProperties", "DATABASEPWD"}, {"MsiMergePoint", "x"}};
    EXPECT_EQ(ExplainPackage(package, "## MsiMergeFiles\n- **Reads**: `MsiMergePoint`, `Other`.\n"),
              R"~(In the installation

At once, with the user's rights:
  400  Pwd: sets DATABASEPWD to "(hidden)"

While the script is written, with the user's rights:
 1000  SetCopy: sets Copy to "[A]|[B]"

In the script, with the installer's rights:
 4030  Copy -> CopyHTMLViewerToPFCD: Copies the HTML viewer's language folders to the shared folder
        its data is "[A]|[B]" (1000)
        taken back when the installation fails
        when the product is installed already

While the script is written, with the user's rights:
 4040  SetCopyAgain: sets Copy to "[C]|[B]"

At once, with the user's rights:
 6630  Merge -> MsiMergeFiles: Inserts a block of lines into a text file
        MsiMergePoint is "x"
 6640  Own: the package's own
)~");
}

TEST(Reference, ReadsAnActionsSection) {
    const std::string pages =
        "# One\n\n## A\n- **Reads**: the `X`,\n  `Y`.\n- **Sets**: `Z`.\n# Two\n\n"
        "## AB\n**Reads**: `Q` and\n`[#f]`.\n\n**Sets / changes**: `R`.\n";
    EXPECT_THAT(NamesRead(SectionOf(pages, "A")), ElementsAre("X", "Y"));
    EXPECT_THAT(NamesRead(SectionOf(pages, "AB")), ElementsAre("Q", "[#f]"));
    EXPECT_EQ(SectionOf(pages, "B"), "");
}

TEST(Reference, ShowsMarkdownWithoutItsMarks) {
    const struct {
        const char* markdown;
        const char* text;
    } cases[] = {
        {"- **Result**: [`0`](a.md#b), \xE2\x80\xA6\n  more\n- a `[b](c) **d**`",
         "Result: 0, ... more\n- a [b](c) **d**\n"},
        {"| a | `b|c` |\n|---|:-:|\n| d\\|e | |\n", "    a | b|c\n    d|e | -\n"},
        {"### Head\n\n\nOne two three four five six\n```\n- as  it is\n```\n",
         "Head\n\nOne two three four\nfive six\n    - as  it is\n"},
        {"- [unfinished(", "- [unfinished(\n"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(PlainText(row.markdown, 20), row.text);
}

TEST(Reference, ExplainsEveryAction) {
    for (const CatalogueRow& row : Catalogue) {
        const std::string text = ExplainAction(row.name);
        size_t at = 0;
        for (const char* field :
             {"\nSchedule", "\nReads", "\nSets / changes", "\nPartner", "\nOn an upgrade",
              "\nResult", "\nIn the log", "\nWhen it fails"}) {
            at = text.find(field, at);
            ASSERT_NE(at, std::string::npos) << row.name << field;
        }
        EXPECT_EQ(text.find("**"), std::string::npos) << row.name;
        EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char letter) { return letter > 0; }))
            << row.name;
    }
    EXPECT_THAT(ExplainAction("StartAPSService"),
                HasSubstr("\n  StartAPSService crashed.\n      Bad: "));
}
