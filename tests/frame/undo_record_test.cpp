#include "frame/undo_record.h"

#include "frame/file_changes.h"
#include "frame/session.h"
#include "setup/archives/zip_operations.h"
#include "tests/support/machine.h"
#include "tests/support/services_test.h"
#include "tests/support/test_text.h"
#include "tests/support/unix_shell.h"

#include <aclapi.h>
#include <regex>
#include <sddl.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

namespace {

std::string Product() {
    return Format("{%08lX-0000-0000-0000-000000000000}", GetCurrentProcessId());
}

std::string Records() {
    char windows[MAX_PATH] = "";
    GetSystemWindowsDirectoryA(windows, sizeof windows);
    return std::string(windows) + "\\Setupactions\\" + Product() + "\\";
}

// A product for each test program, since they run at the same time.
template <typename Base>
class OfOneProduct : public Base {
protected:
    void SetUp() override {
        Base::SetUp();
        this->SetProperty("ProductCode", Product());
    }
    void Run(UINT(__stdcall* action)(MSIHANDLE), const std::string& data, MSIRUNMODE mode) {
        this->MakeDeferred(data, mode);
        this->ClearMessages();
        EXPECT_EQ(action(this->session), ERROR_SUCCESS);
    }
};

class UndoneFilesTest : public OfOneProduct<MachineTest> {
protected:
    void SetUp() override {
        OfOneProduct::SetUp();
        for (const std::string language : {"de", "fr", "ja"}) {
            MakeFolders(Here("from\\htmlviewer\\" + language));
            MakeFolders(Here("to\\htmlviewer\\" + language));
        }
        WriteFileInFolders(Here("from\\htmlviewer\\en\\new\\a.txt"), "new");
        WriteFileInFolders(Here("from\\htmlviewer\\en\\b.txt"), "new");
        WriteFileInFolders(Here("to\\htmlviewer\\en\\b.txt"), "old");
        WriteFileInFolders(Here("to\\htmlviewer\\en\\other.txt"), "other");
        SetFileAttributesA(Here("to\\htmlviewer\\en\\b.txt").c_str(), FILE_ATTRIBUTE_HIDDEN);
    }
    void Copy() { Run(CopyHTMLViewerToPFCD, Here("from|") + Here("to"), MSIRUNMODE_SCHEDULED); }
    void TakeBack() { Run(CopyHTMLViewerToPFCD, "", MSIRUNMODE_ROLLBACK); }
    std::string Target(const std::string& name) { return Here("to\\htmlviewer\\en\\" + name); }
    bool IsCopied() {
        return FileText(Target("b.txt")) == "new" && FileText(Target("new\\a.txt")) == "new";
    }
    const std::string record = Records() + "CopyHTMLViewerToPFCD.undo";
};

using UndoneServicesTest = OfOneProduct<ServicesTest>;

} // namespace

TEST_F(UndoneFilesTest, WhatWasCopiedGoesAndWhatWasOverwrittenComesBack) {
    for (int round = 0; round < 2; ++round) { // a second installation has its own record
        SetFileAttributesA(Target("b.txt").c_str(), FILE_ATTRIBUTE_NORMAL);
        Copy();
        EXPECT_THAT(Log(), ElementsAre());
        EXPECT_TRUE(IsCopied());
        SetFileAttributesA(Target("b.txt").c_str(), FILE_ATTRIBUTE_READONLY);
        TakeBack();
        EXPECT_EQ(FileText(Target("b.txt")), "old");
        EXPECT_EQ(FileText(Target("other.txt")), "other");
        EXPECT_FALSE(IsThere(Target("new")));
        EXPECT_THAT(Log(), UnorderedElementsAre(
                               "CopyHTMLViewerToPFCD: taking back what is recorded in " + record,
                               "CopyHTMLViewerToPFCD: " + Target("b.txt") + " put back",
                               "CopyHTMLViewerToPFCD: " + Target("new\\a.txt") + " removed",
                               "CopyHTMLViewerToPFCD: " + Target("new") + " removed"));
    }
    EXPECT_FALSE(IsThere(Records()));
    TakeBack();
    EXPECT_THAT(Log(), ElementsAre("CopyHTMLViewerToPFCD: no changes are recorded, nothing taken "
                                   "back"));
}

TEST_F(UndoneFilesTest, AnInstallationThatCopiedNothingTakesNoEarlierOneBack) {
    Copy(); // its record stayed
    Run(CopyHTMLViewerToPFCD, "", MSIRUNMODE_SCHEDULED);
    TakeBack();
    EXPECT_TRUE(IsCopied());
}

TEST_F(UndoneFilesTest, WhatIsNoRecordOfThisInstallationUndoesNothing) {
    Copy();
    const std::string whole = FileText(record);
    WriteFileText(record, whole.substr(0, whole.size() - 1));
    TakeBack();
    EXPECT_NE(FileText(Target("b.txt")) == "old", !IsThere(Target("new\\a.txt")))
        << "the change whose entry is cut was never made, the other one was";
    const auto replaced = [&](const std::string& text, const std::string& by) {
        std::string bytes = whole;
        return bytes.replace(bytes.find(text), text.size(), by);
    };
    const std::string other = "{00000000-0000-0000-0000-00000000000A}";
    for (const std::string& bytes :
         {std::string(), whole.substr(0, 40), std::string(5000, '\xFF'),
          replaced("CopyHTMLViewerToPFCD", "DuplicateSecDLLforA!"), replaced(Product(), other)}) {
        Copy();
        WriteFileText(record, bytes);
        TakeBack();
        EXPECT_TRUE(IsCopied()) << bytes;
        EXPECT_THAT(Log(), ElementsAre("CopyHTMLViewerToPFCD: " + record +
                                       " is no record of this installation's, nothing taken back"));
    }
}

TEST_F(UndoneFilesTest, PathsThatAreNobodysOwnAreLeftAlone) {
    Copy();
    const std::string whole = FileText(record);
    const std::string path = Target("new");
    for (std::string bad :
         {std::string("C:\\"), std::string("relative"), Target("other.txt\\..\\new")}) {
        Copy();
        UndoRecord(session, "CopyHTMLViewerToPFCD").Add({"filled", bad, ""});
        TakeBack();
        EXPECT_TRUE(IsCopied()) << bad;
        EXPECT_EQ(Log().back(),
                  "CopyHTMLViewerToPFCD: " + bad + " is no place of its own, left alone");
    }
    // Somebody replaces a folder that was written to with a link.
    Copy();
    RunUnixShell(Scratch(), "mkdir elsewhere && mv to/htmlviewer/en/new elsewhere/ && "
                            "ln -s ../../../elsewhere/new to/htmlviewer/en/new");
    TakeBack();
    EXPECT_EQ(FileText(Here("elsewhere\\new\\a.txt")), "new");
}

TEST_F(UndoneFilesTest, AFolderThatAProgramFilledGoesUnlessItWasThere) {
    for (const std::string folder : {"to", "new"}) {
        MakeDeferred("");
        {
            UndoRecord record(session, "UncompressZipFile");
            RecordFilledFolder(
                record, UnzipFolder("x.exe" + UnzipArguments("a.zip", Here(folder + "\\deep"))));
            MakeFolders(Here(folder + "\\deep"));
            RecordFilledFolder(record, Here(folder + "\\deep")); // by a second archive
        }
        WriteFileInFolders(Here(folder + "\\deep\\x.txt"), "x");
        Run(UncompressZipFile, "", MSIRUNMODE_ROLLBACK);
        EXPECT_FALSE(Contains(Log(), "was there before"));
        EXPECT_FALSE(IsThere(Here(folder + "\\deep")));
        EXPECT_EQ(IsThere(Here(folder)), folder == "to") << "the topmost new folder goes";
    }
    MakeDeferred("");
    RecordFilledFolder(*std::make_unique<UndoRecord>(session, "UncompressZipFile"), Here("to"));
    Run(UncompressZipFile, "", MSIRUNMODE_ROLLBACK);
    EXPECT_EQ(FileText(Target("other.txt")), "other");
    EXPECT_EQ(Log().back(),
              "UncompressZipFile: " + Here("to") + " was there before, what came into it stays");
}

TEST_F(UndoneFilesTest, OnlyAdministratorsAndTheSystemReachTheRecords) {
    Copy();
    std::string folder = Records();
    folder.pop_back();
    PACL list = nullptr;
    LocalText descriptor;
    ASSERT_EQ(GetNamedSecurityInfoA(&folder[0], SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                    nullptr, &list, nullptr,
                                    reinterpret_cast<PSECURITY_DESCRIPTOR*>(descriptor.Out())),
              DWORD(ERROR_SUCCESS));
    LocalText text;
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorA(
        descriptor.Get(), SDDL_REVISION_1, DACL_SECURITY_INFORMATION, text.Out(), nullptr));
    // The engine's only user is also its administrators.
    EXPECT_TRUE(std::regex_match(
        text.Get(), std::regex("D:P?(\\(A;OICI;FA;;;(SY|BA|S-1-5-21-0-0-0-1000)\\)){2}")))
        << text.Get();
    Run(StopAPSService, Product(), MSIRUNMODE_COMMIT);
    EXPECT_FALSE(IsThere(folder)) << "any action's commit run deletes all of them";
}

TEST_F(UndoneServicesTest, AServiceRunsOrStandsAsItDidBefore) {
    const struct {
        UINT(__stdcall* action)(MSIHANDLE);
        const char* service;
    } rows[] = {{StartAPSService, "TRNWCentralMS"},
                {StopAPSService, "TRNWCentralMS"},
                {StartSQLService, "MSSQLServer"}};
    for (const auto& row : rows) {
        for (const DWORD before : {SERVICE_RUNNING, SERVICE_STOPPED}) {
            services = {{row.service, before}};
            Run(row.action, "", MSIRUNMODE_SCHEDULED);
            Run(row.action, "", MSIRUNMODE_ROLLBACK);
            EXPECT_EQ(services[row.service], before) << row.service;
        }
    }
}
