#include "frame/programs.h"

#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <gmock/gmock.h>

#include <set>

using namespace setupactions;
using testing::ElementsAre;

namespace {

// This process's handles, or those of them that a program inherits.
std::set<HANDLE> Handles(bool inheritedOnly) {
    std::set<HANDLE> handles;
    for (ULONG_PTR value = 4; value < 0x400; value += 4) {
        const HANDLE handle = reinterpret_cast<HANDLE>(value);
        DWORD flags = inheritedOnly ? 0 : HANDLE_FLAG_INHERIT;
        if (GetHandleInformation(handle, &flags) && (!inheritedOnly || flags != 0))
            handles.insert(handle);
    }
    return handles;
}

// Steers when the runner sees the program end, without its sleeps, and keeps
// what it asked for.
class Watched {
public:
    // 0: the end is seen one poll late, when all that was printed has been read.
    explicit Watched(int endsAtPoll = 0) : endsAtPoll_(endsAtPoll) { current = this; }

    std::string calls; // Peek, Exit code, Sleep
    STARTUPINFOA startup = {};
    DWORD creationFlags = 0;
    std::set<HANDLE> inherited;

private:
    static BOOL WINAPI Create(const char* application, char* commandLine,
                              SECURITY_ATTRIBUTES* process, SECURITY_ATTRIBUTES* thread,
                              BOOL inherit, DWORD flags, void* environment, const char* folder,
                              STARTUPINFOA* startup, PROCESS_INFORMATION* started) {
        current->startup = *startup;
        current->creationFlags = flags;
        current->inherited = Handles(true);
        return current->create_.Original()(application, commandLine, process, thread, inherit,
                                           flags, environment, folder, startup, started);
    }
    static BOOL WINAPI Peek(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* available,
                            DWORD* left) {
        current->calls += 'P';
        return current->peek_.Original()(pipe, buffer, size, read, available, left);
    }
    static DWORD WINAPI Wait(HANDLE process, DWORD milliseconds) {
        const DWORD endOfTime = 20000; // milliseconds that no child program needs
        if (milliseconds != 0)
            return current->wait_.Original()(process, milliseconds); // not the runner
        const bool last = ++current->polls_ == current->endsAtPoll_;
        current->seen_ = current->endsAtPoll_ == 0 ? current->ended_ : last;
        current->ended_ = current->wait_.Original()(process, last ? endOfTime : 0) == WAIT_OBJECT_0;
        return current->seen_ ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }
    static BOOL WINAPI ExitCode(HANDLE process, DWORD* code) {
        current->calls += 'E';
        *code = STILL_ACTIVE;
        return !current->seen_ || current->exitCode_.Original()(process, code);
    }
    static void WINAPI BriefSleep(DWORD milliseconds) {
        EXPECT_EQ(milliseconds, 100u);
        current->calls += 'S';
        current->sleep_.Original()(1);
    }

    static inline Watched* current;
    const int endsAtPoll_;
    int polls_ = 0;
    bool ended_ = false;
    bool seen_ = false;
    ReplacedImport<decltype(CreateProcessA)> create_{"CreateProcessA", Create};
    ReplacedImport<decltype(PeekNamedPipe)> peek_{"PeekNamedPipe", Peek};
    ReplacedImport<decltype(GetExitCodeProcess)> exitCode_{"GetExitCodeProcess", ExitCode};
    ReplacedImport<decltype(WaitForSingleObject)> wait_{"WaitForSingleObject", Wait};
    ReplacedImport<decltype(Sleep)> sleep_{"Sleep", BriefSleep};
};

BOOL WINAPI NoPipe(HANDLE*, HANDLE*, SECURITY_ATTRIBUTES*, DWORD) { return FALSE; }

std::string Child(const std::string& commands) {
    return "\"" + TestProgramFolder() + "child_program.exe\" " + commands;
}

class ProgramsTest : public SessionTest {
protected:
    void Run(const std::string& commandLine, int units = 0, bool hide = false,
             const char* folder = nullptr) {
        ClearMessages();
        EXPECT_EQ(RunRedistProgram(session, commandLine, units, hide, folder), 0u);
    }

    // All that the program printed, as the log's lines before the last show it.
    std::string Output() const {
        const std::vector<std::string> lines = Log();
        std::string output;
        for (size_t i = 0; i + 1 < lines.size(); ++i) {
            EXPECT_LE(lines[i].size(), 1024u);
            output += lines[i];
        }
        return output;
    }

    // Expects the progress bar to move with so many polls and then by the rest.
    void ExpectProgress(size_t polls, int rest) const {
        std::vector<std::string> expected(polls, "1: 2 2: 10000 3: 0 "), moves;
        expected.insert(expected.begin(), "1: 1 2: 1 3: 0 ");
        if (rest != 0)
            expected.push_back("1: 2 2: " + std::to_string(rest) + " 3: 0 ");
        for (const Message& message : messages)
            if (message.type == INSTALLMESSAGE_PROGRESS)
                moves.push_back(message.text);
        EXPECT_EQ(moves, expected);
    }
};

} // namespace

TEST_F(ProgramsTest, TheBarMovesWithThePollsAndNeverPastTheBudget) {
    const struct {
        int units, polls;
        size_t moves;
        int rest;
    } cases[] = {{5, 3, 3, 470000}, {1, 9, 9, 10000}, {1, 10, 10, 0}, {1, 14, 10, 0}, {0, 2, 0, 0}};
    for (const auto& row : cases) {
        const Watched watched(row.polls);
        Run(Child("exit 0"), row.units);
        ExpectProgress(row.moves, row.rest);
        std::string polls;
        while (polls.size() < static_cast<size_t>(3 * row.polls))
            polls += "PES";
        EXPECT_EQ(watched.calls, polls) << "no look into the pipe after the last poll";
    }
}

TEST_F(ProgramsTest, OutputArgumentsAndWorkingFolderArriveWhole) {
    char ownFolder[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof ownFolder, ownFolder);
    SetProperty("PLACE", "there");
    const struct {
        const char* commands;
        std::string output;
        const char* folder = nullptr;
    } cases[] = {
        {"print 1024", std::string(1024, 'a')},
        {"print 1025", std::string(1025, 'a')},
        {"error 200000", std::string(200000, 'a')},
        {"print 5 pause 40 error 2000 pause 40 print 1", std::string(2006, 'a')},
        {"arguments \"it is [PLACE], [1] is [NOSUCHPROPERTY]nothing\"", "<it is there,  is nothing>"},
        {"folder", ownFolder},
        {"folder", "C:\\windows\\system32", "C:\\windows\\system32"},
        {"arguments \"a b\" c \"\" %TEMP%", "<a b><c><><%TEMP%>"},
    };
    for (const auto& row : cases) {
        const Watched watched;
        Run(Child(row.commands), 0, true, row.folder);
        EXPECT_EQ(Output(), row.output) << row.commands;
    }
}

TEST_F(ProgramsTest, AProgramStartsWithItsOutputOnlyAndEndsWithItsCode) {
    const struct {
        bool pipe, hide;
        std::string code;
    } cases[] = {{true, false, "3010"},
                 {true, true, "259"}, // which a running program has too
                 {false, true, "-1"}};
    Run(Child("exit 0")); // what the engine opens once is open now
    for (const auto& row : cases) {
        const std::set<HANDLE> before = Handles(false), inheritable = Handles(true);
        std::unique_ptr<ReplacedImport<decltype(NoPipe)>> noPipe;
        if (!row.pipe)
            noPipe = std::make_unique<ReplacedImport<decltype(NoPipe)>>("CreatePipe", NoPipe);
        Watched watched;
        const std::string commandLine = Child("print 3 exit " + row.code);
        Run(commandLine, 0, row.hide);
        EXPECT_EQ(Output(), row.pipe ? "aaa" : "");
        EXPECT_EQ(Log().back(), "RunRedistProgram(" + commandLine + "). Return value " + row.code);

        const STARTUPINFOA& startup = watched.startup;
        EXPECT_EQ(startup.dwFlags,
                  (row.pipe ? STARTF_USESTDHANDLES : 0u) | (row.hide ? STARTF_USESHOWWINDOW : 0u));
        EXPECT_EQ(startup.wShowWindow, SW_HIDE);
        EXPECT_EQ(watched.creationFlags, static_cast<DWORD>(CREATE_NO_WINDOW));
        for (const HANDLE handle : inheritable)
            watched.inherited.erase(handle);
        EXPECT_EQ(watched.inherited.size(), row.pipe ? 2u : 0u) << "its output and errors";
        EXPECT_EQ(watched.inherited.count(startup.hStdOutput), row.pipe ? 1u : 0u);
        EXPECT_EQ(startup.hStdInput, nullptr);
        EXPECT_EQ(Handles(false), before) << "left open";
    }
}

TEST_F(ProgramsTest, AProgramThatDoesNotStartUsesItsWholeBudgetAtOnce) {
    const struct {
        std::string commandLine;
        const char *folder, *error;
    } cases[] = {{TestProgramFolder() + "no_such_program.exe /q", nullptr, "2"},
                 {Child("exit 0"), "C:\\no such folder", "267"}};
    for (const auto& row : cases) {
        Run(row.commandLine, 5, true, row.folder);
        EXPECT_THAT(Log(),
                    ElementsAre("RunRedistProgram(" + row.commandLine + "). failed: " + row.error));
        ExpectProgress(0, 500000);
    }
}

TEST_F(ProgramsTest, FileVersionsAreComparedByTheirNumbers) {
    const std::string path = TestProgramFolder() + "child_program.exe";
    const std::string without = TestProgramFolder() + "programs_test.exe";
    const struct {
        std::string path, needed;
        bool enough;
    } cases[] = {{path, "2.10.0.300", true},  {path, "2.9.0.301", true},
                 {path, "2.10.0.301", false}, {path, "", true},
                 {without, "0.0.0.0", false}, {std::string(300, 'x'), "0.0.0.0", false}};
    for (const auto& row : cases) {
        ClearMessages();
        EXPECT_EQ(CheckFileVersion(session, row.path, row.needed), row.enough) << row.needed;
        EXPECT_THAT(Log(),
                    ElementsAre(row.path == path
                                    ? "File: " + path + " Version: 2.10.0.300 found. " +
                                          "Needed Version: " + row.needed
                                    : "Error getting file version info for file: " + row.path));
    }
}
