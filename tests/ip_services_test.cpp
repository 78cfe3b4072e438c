#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using setupactions::Format;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const char FolderKey[] = "SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters";
const std::string Failure = "Failure(ConfServiceFile): ";
const std::string Original = "# mine\r\necho 7/tcp\r\n";
const std::string First = "halcyon\t6400/tcp\thal # name server\r\n";
const std::string Second = "halrep\t6401/udp\t # \r\n";

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
        MakeFolders(folder = Scratch() + "etc\\");
        services = folder + "services";
        written = "ConfServiceFile: " + services + " written";
        SetEnvironmentVariableA("SCRATCH_ETC", Scratch().c_str());
        SetFolder("%SCRATCH_ETC%etc");
        WriteFileText(services, Original);
        AddComponent("Other");
    }
    static void SetFolder(const std::string& path) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, FolderKey, "DataBasePath", path);
    }
    void AddTable() {
        Sql("CREATE TABLE `HalcyonIPService` (`Component_` CHAR(72) NOT NULL, `ServiceName` "
            "CHAR(72), `Port` CHAR(16), `Protocol` CHAR(16), `Alias` "
            "CHAR(72), `Comment` CHAR(255) PRIMARY KEY `Component_`, `ServiceName`)");
        AddRow("'Main', 'halcyon', '6400', 'tcp', 'hal', 'name server'");
        AddRow("'Other', 'halrep', '6401', 'udp', '', ''");
        Cost();
    }
    void AddRow(const char* values) {
        Sql(Format("INSERT INTO `HalcyonIPService` (`Component_`, `ServiceName`, "
                   "`Port`, `Protocol`, `Alias`, `Comment`) VALUES (%s)",
                   values));
    }
    std::vector<std::string> Run(UINT(WINAPI* action)(MSIHANDLE) = AddIPService) {
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

    std::string folder, services, written;
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(IPServicesTest, LinesFollowTheComponents) {
    EXPECT_THAT(Run(), IsEmpty()) << "no table";
    AddTable();
    const struct {
        const char* component;
        INSTALLSTATE state;
        UINT(WINAPI* action)(MSIHANDLE);
        std::string text;
    } cases[] = {
        {"Other", INSTALLSTATE_ABSENT, AddIPService, Original + First},
        {"Other", INSTALLSTATE_SOURCE, AddIPService, Original + First + Second},
        {"Main", INSTALLSTATE_ABSENT, RemoveIPService, Original + Second},
        {"Other", INSTALLSTATE_ABSENT, RemoveIPService, Original},
    };
    for (const auto& row : cases) {
        ASSERT_EQ(MsiSetComponentStateA(session, row.component, row.state), ERROR_SUCCESS);
        EXPECT_THAT(Run(row.action), ElementsAre(written));
        EXPECT_THAT(Run(row.action), IsEmpty()) << "once is enough";
        EXPECT_EQ(FileText(services), row.text);
    }
    EXPECT_THAT(FilesOfFolder(), ElementsAre("services"));
}

TEST_F(IPServicesTest, RowsThatAreNoLineAreSkipped) {
    AddTable();
    AddRow("'Main', 'evil', '1', 'tcp', '', 'a\r\nroot 1/tcp'");
    AddRow("'NoSuchComponent', 'lost', '1', 'tcp', '', ''");
    EXPECT_THAT(Run(), ElementsAre(StartsWith(Failure + "service evil is no line"), written));
    EXPECT_EQ(FileText(services), Original + First + Second);
}

TEST_F(IPServicesTest, AFileThatCannotBeChangedKeepsItsText) {
    AddTable();
    const auto expectFailure = [&](const std::string& line, const std::string& text = Original) {
        EXPECT_THAT(Run(), ElementsAre(StartsWith(Failure + line)));
        EXPECT_EQ(FileText(services), text) << line;
        EXPECT_THAT(FilesOfFolder(), ElementsAre("services")) << line;
    };
    const std::string noFolder = std::string("getServiceFilePath failed [") + FolderKey;
    SetFolder("%NO_SUCH_VARIABLE%\\etc");
    expectFailure(noFolder + ", DataBasePath, 161]");
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, FolderKey);
    expectFailure(noFolder + ", DataBasePath, 2]");
    SetFolder(Scratch());
    expectFailure("GetFileAttributes failed [" + Scratch() + "services, 2]");
    SetFolder(folder);
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_READONLY);
    expectFailure(services + " is read-only");
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_NORMAL);
    {
        const ReplacedImport<decltype(RefuseWrite)> write("WriteFile", RefuseWrite);
        expectFailure("ReplaceFile failed [" + services + ", 112]");
    }
    const std::string text("a\0 1/tcp\r\n", 9);
    WriteFileText(services, text);
    expectFailure(services + " is no plain text file", text);
}

TEST_F(IPServicesTest, AttributesSurviveAndALostFileComesBack) {
    AddTable();
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_HIDDEN);
    EXPECT_THAT(Run(), ElementsAre(written));
    EXPECT_NE(GetFileAttributesA(services.c_str()) & FILE_ATTRIBUTE_HIDDEN, 0u);

    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_NORMAL);
    const ReplacedImport<decltype(LoseReplaced)> replace("ReplaceFileA", LoseReplaced);
    WriteFileText(services, Original);
    EXPECT_THAT(Run(), ElementsAre(written));
    EXPECT_EQ(FileText(services), Original + First + Second);

    WriteFileText(services, Original);
    const ReplacedImport<decltype(RefuseMove)> move("MoveFileA", RefuseMove);
    EXPECT_THAT(Run(), ElementsAre(Failure + "ReplaceFile failed [" + services + ", 5]"));
    ASSERT_EQ(FilesOfFolder().size(), 1u) << "the new text is all there is";
    EXPECT_EQ(FileText(folder + FilesOfFolder()[0]), Original + First + Second);
}
