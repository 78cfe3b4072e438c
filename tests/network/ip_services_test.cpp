#include "setup/network/services_text.h"

#include "tests/support/private_registry.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const char FolderKey[] = "SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters";
const std::string Failure = "Failure(ConfServiceFile): ";
const std::string Original = "# mine\r\necho 7/tcp\r\n";
const IPService Halcyon = {"halcyon", "6400", "tcp", "hal", "name server"};
const std::string Line = "halcyon\t6400/tcp\thal # name server";
const std::string First = Line + "\r\n";
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

TEST(ServicesText, AddingAndRemovingComeOutEven) {
    // A text, its line break, and the one that its last line lacks.
    const std::string cases[][3] = {
        {"", "\r\n", ""},
        {"\necho 7/tcp\n", "\n", ""},
        {"echo 7/tcp\nftp 21/tcp", "\n", "\n"},
        {"# \xE4\xF6\xFC\x81\\", "\r\n", "\r\n"},
    };
    for (const auto& [text, lineBreak, ownBreak] : cases) {
        const std::string before = text + ownBreak, after = before + Line + lineBreak;
        EXPECT_EQ(WithServiceLine(text, Halcyon), after);
        EXPECT_EQ(WithServiceLine(after, Halcyon), after);
        EXPECT_EQ(WithoutServiceLine(after, Halcyon), before);
    }
}

TEST(ServicesText, OnlyTheSameNamePortAndProtocolAreKnown) {
    const std::pair<const char*, bool> cases[] = {
        {"  HALCYON\t \t6400/TCP\tother # mine", true},
        {"halcyon 6400/tcp# mine", true},
        {"# halcyon 6400/tcp", false},
        {"halcyon 6400/udp", false},
        {"halcyon2 6400/tcp", false},
    };
    for (const auto& [line, isKnown] : cases) {
        const std::string text = std::string("a 1/tcp\n") + line + "\nb 2/tcp\n";
        EXPECT_EQ(WithServiceLine(text, Halcyon) == text, isKnown) << line;
        EXPECT_EQ(WithoutServiceLine(text, Halcyon), text) << line << ": not ours to remove";
    }
}

TEST(ServicesText, OnlyTheLineAsWrittenIsRemoved) {
    const std::string others = " " + Line + "\r\n" + Line + "!\nH" + Line.substr(1) + "\n";
    EXPECT_EQ(WithoutServiceLine(Line + "\n" + others + Line + " \t", Halcyon), others);
    // Without alias and comment the line ends in blanks, which editors drop.
    EXPECT_EQ(WithoutServiceLine("a\t1/tcp\t #\r\n", {"a", "1", "tcp", "", ""}), "");
}

TEST(ServicesText, RowsAndTextsOutOfShapeAreTold) {
    EXPECT_TRUE(FitsOneLine({"h", "1", "u", "two names\ttabbed", "a # b / c"}));
    const IPService cases[] = {{"", "1", "tcp", "", ""},       {"a b", "1", "tcp", "", ""},
                               {"a", "-1", "tcp", "", ""},     {"a", "1", "tcp/udp", "", ""},
                               {"a", "1", "tcp", "b # c", ""}, {"a", "1", "tcp", "", "b\r\nx 2"}};
    for (const IPService& row : cases)
        EXPECT_FALSE(FitsOneLine(row)) << row.name << row.port << row.protocol << row.alias;
    EXPECT_TRUE(IsPlainText("\xEF\xBB\xBF# \xFF\t\r\n"));
    EXPECT_FALSE(IsPlainText("a 1/tcp\r\n\x1A"));
    EXPECT_FALSE(IsPlainText(std::string("a\0", 2)));
}

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
    void AddRow(const char* values) {
        Sql(Format("INSERT INTO `HalcyonIPService` (`Component_`, `ServiceName`, `Port`, "
                   "`Protocol`, `Alias`, `Comment`) VALUES (%s)",
                   values));
    }
    std::vector<std::string> Run(UINT(WINAPI* action)(MSIHANDLE) = AddIPService) {
        return sent.Of(action, session);
    }

    std::string folder, services, written;
    const PrivateRegistry registry;
    SentLines sent;
};

TEST_F(IPServicesTest, LinesFollowTheComponents) {
    SetFileAttributesA(services.c_str(), FILE_ATTRIBUTE_HIDDEN);
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
    EXPECT_NE(GetFileAttributesA(services.c_str()) & FILE_ATTRIBUTE_HIDDEN, 0u);
}

TEST_F(IPServicesTest, RowsThatAreNoLineAreSkipped) {
    AddRow("'Main', 'evil', '1', 'tcp', '', 'a\r\nroot 1/tcp'");
    AddRow("'Unheard', 'unheard', '6402', 'tcp', '', ''");
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
