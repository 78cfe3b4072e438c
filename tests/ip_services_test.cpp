#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const char FolderKey[] = "SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters";
const char Failure[] = "Failure(ConfServiceFile): ";
const char Original[] = "# mine\r\necho 7/tcp\r\n";
const char FirstLine[] = "halcyon\t6400/tcp\thal # name server\r\n";
const char SecondLine[] = "halrep\t6401/udp\t # \r\n";

BOOL WINAPI RefuseWrite(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) {
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

// Takes the old file away before it fails, as the system's call may.
BOOL WINAPI LoseReplaced(const char* replaced, const char*, const char*, DWORD, void*, void*) {
    DeleteFileA(replaced);
    SetLastError(ERROR_UNABLE_TO_MOVE_REPLACEMENT);
    return FALSE;
}
BOOL WINAPI RefuseMove(const char*, const char*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

} // namespace

class IPServicesTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        folder = Scratch() + "etc\\";
        services = folder + "services";
        MakeFolders(folder);
        SetFolder(folder.substr(0, folder.size() - 1));
        WriteFileText(services, Original);
        Sql("INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`) "
            "VALUES ('Other', '{0B6E4C0C-9F5A-4E0B-8D0A-5E7C4F2B9A02}', 'INSTALLDIR', 0)");
        Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('Complete', "
            "'Other')");
    }
    static void SetFolder(const std::string& path) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, FolderKey, "DataBasePath", path);
    }

    void AddTable() {
        Sql("CREATE TABLE `HalcyonIPService` (`IPService` CHAR(72) NOT NULL, `Component_` CHAR(72) "
            "NOT NULL, `ServiceName` CHAR(72), `Port` CHAR(16), `Protocol` CHAR(16), `Alias` "
            "CHAR(72), `Comment` CHAR(255) PRIMARY KEY `IPService`)");
        AddRow("'1', 'Main', 'halcyon', '6400', 'tcp', 'hal', 'name server'");
        AddRow("'2', 'Other', 'halrep', '6401', 'udp', '', ''");
        Cost();
    }
    void AddRow(const std::string& values) {
        Sql("INSERT INTO `HalcyonIPService` (`IPService`, `Component_`, `ServiceName`, `Port`, "
            "`Protocol`, `Alias`, `Comment`) VALUES (" +
            values + ")");
    }
    void SetState(const char* component, INSTALLSTATE state) {
        ASSERT_EQ(MsiSetComponentStateA(session, component, state), ERROR_SUCCESS);
    }

    std::vector<std::string> Run(UINT(WINAPI* action)(MSIHANDLE)) {
        return sent.Of(action, session);
    }

    std::vector<std::string> FilesOfFolder() const {
        std::vector<std::string> names;
        WIN32_FIND_DATAA entry;
        const setupactions::SearchHandle search(FindFirstFileA((folder + "*").c_str(), &entry));
        do
            if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
                names.push_back(entry.cFileName);
        while (FindNextFileA(search.Get(), &entry));
        return names;
    }

    std::string folder, services;
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(IPServicesTest, LinesFollowTheComponents) {
    EXPECT_THAT(Run(AddIPService), IsEmpty()) << "no table";
    AddTable();
    const std::string written = "ConfServiceFile: " + services + " written";
    const std::string original = Original, first = FirstLine, second = SecondLine;
    const auto run = [&](UINT(WINAPI * action)(MSIHANDLE), const std::string& text) {
        for (const bool again : {false, true}) {
            EXPECT_EQ(Run(action), std::vector<std::string>(again ? 0 : 1, written));
            EXPECT_EQ(FileText(services), text);
        }
    };
    SetState("Other", INSTALLSTATE_ABSENT);
    run(AddIPService, original + first);
    SetState("Other", INSTALLSTATE_LOCAL);
    run(AddIPService, original + first + second);
    WriteFileText(services, original + first + second + "user 9/tcp # added later\r\n");
    SetState("Main", INSTALLSTATE_ABSENT);
    run(RemoveIPService, original + second + "user 9/tcp # added later\r\n");
    SetState("Other", INSTALLSTATE_ABSENT);
    run(RemoveIPService, original + "user 9/tcp # added later\r\n");
    EXPECT_THAT(FilesOfFolder(), ElementsAre("services"));
}

TEST_F(IPServicesTest, RowsThatAreNoLineAreSkipped) {
    AddTable();
    AddRow("'3', 'Main', 'evil', '1', 'tcp', '', 'a\r\nroot 1/tcp'");
    AddRow("'4', 'Main', '#x', '1', 'tcp', '', ''");
    AddRow("'5', 'NoSuchComponent', 'lost', '1', 'tcp', '', ''");
    EXPECT_THAT(Run(AddIPService),
                ElementsAre(StartsWith(std::string(Failure) + "service evil is no line"),
                            StartsWith(std::string(Failure) + "service #x is no line"),
                            HasSubstr(" written")));
    EXPECT_EQ(FileText(services), std::string(Original) + FirstLine + SecondLine);
}

TEST_F(IPServicesTest, TheFolderMayNameVariables) {
    AddTable();
    SetEnvironmentVariableA("SCRATCH_ETC", folder.c_str());
    SetFolder("%SCRATCH_ETC%");
    EXPECT_THAT(Run(AddIPService), ElementsAre("ConfServiceFile: " + services + " written"));
    const std::string fails = std::string(Failure) + "getServiceFilePath failed [" + FolderKey;
    SetFolder("%NO_SUCH_VARIABLE%\\etc");
    EXPECT_THAT(Run(AddIPService), ElementsAre(fails + ", DataBasePath, 161]"));
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, FolderKey);
    EXPECT_THAT(Run(AddIPService), ElementsAre(fails + ", DataBasePath, 2]"));
}

TEST_F(IPServicesTest, AFileThatCannotBeChangedKeepsItsText) {
    AddTable();
    const auto expectFailure = [&](const std::string& line) {
        EXPECT_THAT(Run(AddIPService), ElementsAre(StartsWith(Failure + line)));
        EXPECT_EQ(FileText(services), Original) << line;
        EXPECT_THAT(FilesOfFolder(), ElementsAre("services")) << line;
    };
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_READONLY);
    expectFailure(services + " is read-only");
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_NORMAL);
    {
        const setupactions::FileHandle held(CreateFileA(
            services.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
        expectFailure("ReplaceFile failed [" + services + ", ");
    }
    {
        const ReplacedImport<decltype(RefuseWrite)> write("WriteFile", RefuseWrite);
        expectFailure("ReplaceFile failed [" + services + ", 112]");
    }
    EXPECT_THAT(Run(AddIPService), ElementsAre(HasSubstr(" written"))) << "once nothing hinders";
}

TEST_F(IPServicesTest, FilesThatDoNotLookAsExpectedAreLeftAlone) {
    AddTable();
    const std::string text("a\0 1/tcp\r\n", 9);
    WriteFileText(services, text);
    EXPECT_THAT(Run(AddIPService), ElementsAre(Failure + services + " is no plain text file"));
    EXPECT_EQ(FileText(services), text);
    DeleteFileA(services.c_str());
    EXPECT_THAT(Run(AddIPService),
                ElementsAre(Failure + ("GetFileAttributes failed [" + services + ", 2]")));
    EXPECT_FALSE(IsThere(services));
}

TEST_F(IPServicesTest, AttributesSurviveAndALostFileComesBack) {
    AddTable();
    const DWORD attributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    SetFileAttributesA(services.c_str(), attributes);
    Run(AddIPService);
    EXPECT_EQ(GetFileAttributesA(services.c_str()) & attributes, attributes);

    const std::string whole = std::string(Original) + FirstLine + SecondLine;
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_NORMAL);
    const ReplacedImport<decltype(LoseReplaced)> replace("ReplaceFileA", LoseReplaced);
    WriteFileText(services, Original);
    EXPECT_THAT(Run(AddIPService), ElementsAre("ConfServiceFile: " + services + " written"));
    EXPECT_EQ(FileText(services), whole);

    WriteFileText(services, Original);
    const ReplacedImport<decltype(RefuseMove)> move("MoveFileA", RefuseMove);
    EXPECT_THAT(Run(AddIPService),
                ElementsAre(Failure + ("ReplaceFile failed [" + services + ", 5]")));
    const std::vector<std::string> left = FilesOfFolder();
    ASSERT_EQ(left.size(), 1u) << "the new text is all there is";
    EXPECT_EQ(FileText(folder + left[0]), whole);
}
