#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

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

// The old file goes, the new one cannot come.
BOOL WINAPI HalfReplace(const char* path, const char*, const char*, DWORD, void*, void*) {
    DeleteFileA(path);
    SetLastError(ERROR_UNABLE_TO_MOVE_REPLACEMENT_2);
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
        MakeFolders(folder);
        SetEnvironmentVariableA("SCRATCH_ETC", Scratch().c_str());
        SetFolder("%SCRATCH_ETC%etc");
        WriteFileText(services, Original);
        EXPECT_THAT(Run(), ElementsAre("Fail to execute: [SELECT Component_, ServiceName, Port, "
                                       "Protocol, Alias, Comment FROM HalcyonIPService]"))
            << "no table";
        MakeTable("HalcyonIPService",
                  {"ServiceName", "Component_", "Port", "Protocol", "Alias", "Comment"},
                  {"'halcyon', 'Main', '6400', 'tcp', 'hal', 'name server'",
                   "'halrep', 'Other', '6401', 'udp', '', ''"});
        AddComponent("Other");
        Cost();
    }
    static void SetFolder(const std::string& path) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, FolderKey, "DataBasePath", path);
    }
    std::vector<std::string> Run(UINT(WINAPI* action)(MSIHANDLE) = AddIPService) {
        return sent.Of(action, session);
    }

    const std::string folder = Scratch() + "etc\\", services = folder + "services",
                      written = "ConfServiceFile: " + services + " written";
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(IPServicesTest, LinesFollowTheComponents) {
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_HIDDEN);
    const struct {
        const char *name, *component;
        INSTALLSTATE state;
        UINT(WINAPI* action)(MSIHANDLE);
        std::string text;
    } cases[] = {
        {"added", "Other", INSTALLSTATE_ABSENT, AddIPService, Original + First},
        {"from source", "Other", INSTALLSTATE_SOURCE, AddIPService, Original + First + Second},
        {"removed", "Main", INSTALLSTATE_ABSENT, RemoveIPService, Original + Second},
        {"the last", "Other", INSTALLSTATE_ABSENT, RemoveIPService, Original},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        ASSERT_EQ(MsiSetComponentStateA(session, row.component, row.state), ERROR_SUCCESS);
        EXPECT_THAT(Run(row.action), ElementsAre(written));
        EXPECT_THAT(Run(row.action), IsEmpty()) << "once is enough";
        EXPECT_EQ(FileText(services), row.text);
    }
    EXPECT_NE(GetFileAttributesA(services.c_str()) & FILE_ATTRIBUTE_HIDDEN, 0u);
}

TEST_F(IPServicesTest, RowsThatAreNoLineAreSkipped) {
    for (const std::string row : {"'Main', 'evil', '1', 'tcp', '', 'a\r\nroot 1/tcp'",
                                  "'Unheard', 'unheard', '6402', 'tcp', '', ''"})
        Sql("INSERT INTO `HalcyonIPService` (`Component_`, `ServiceName`, `Port`, `Protocol`, "
            "`Alias`, `Comment`) VALUES (" +
            row + ")");
    EXPECT_THAT(
        Run(),
        ElementsAre(Failure + "state of component Unheard unknown, its services skipped [1607]",
                    StartsWith(Failure + "service evil is no line"), written));
    EXPECT_EQ(FileText(services), Original + First + Second);
}

TEST_F(IPServicesTest, OfALostFileTheNewTextIsNamed) {
    const ReplacedImport<decltype(HalfReplace)> replace("ReplaceFileA", HalfReplace);
    {
        const ReplacedImport<decltype(RefuseMove)> move("MoveFileA", RefuseMove);
        const std::vector<std::string> lines = Run();
        const std::string lost = Failure + services + " is lost, its new text is in ";
        ASSERT_THAT(lines, ElementsAre(Failure + "ReplaceFile failed [" + services + ", 5]",
                                       StartsWith(lost)));
        const std::string replacement = lines[1].substr(lost.size());
        EXPECT_EQ(FileText(replacement), Original + First + Second);
        DeleteFileA(replacement.c_str());
    }
    WriteFileText(services, Original);
    EXPECT_THAT(Run(), ElementsAre(written));
    EXPECT_EQ(FileText(services), Original + First + Second);
}

TEST_F(IPServicesTest, AFileThatCannotBeChangedKeepsItsText) {
    const auto expectFailure = [&](const std::string& line) {
        EXPECT_THAT(Run(), ElementsAre(StartsWith(Failure + line)));
        EXPECT_EQ(FileText(services), Original) << line;
    };
    SetFolder("%NO_SUCH_VARIABLE%\\etc");
    expectFailure(Format("getServiceFilePath failed [%s, DataBasePath, 161]", FolderKey));
    SetFolder(Scratch());
    expectFailure("GetFileAttributes failed [" + Scratch() + "services, 2]");
    SetFolder(folder);
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_READONLY);
    expectFailure(services + " is read-only");
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_NORMAL);
    DeleteFileA(services.c_str());
    EXPECT_TRUE(RemoveDirectoryA(folder.c_str())) << "nothing else is left there";
}
