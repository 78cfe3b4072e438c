#include "frame/programs.h"

#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

int OpenHandleCount() {
    int count = 0;
    DWORD flags = 0;
    for (ULONG_PTR value = 4; value < 0x400; value += 4)
        count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
    return count;
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

private:
    static BOOL WINAPI Create(const char* application, char* commandLine,
                              SECURITY_ATTRIBUTES* process, SECURITY_ATTRIBUTES* thread,
                              BOOL inherit, DWORD flags, void* environment, const char* folder,
                              STARTUPINFOA* startup, PROCESS_INFORMATION* started) {
        current->startup = *startup;
        current->creationFlags = flags;
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
    const std::string folder = "C:\\windows\\system32";
    {
        const Watched watched;
        Run(Child("print 1025 pause 40 error 200000 folder"), 0, false, folder.c_str());
        EXPECT_EQ(Output(), std::string(201025, 'a') + folder);
    }
    SetProperty("PLACE", "there");
    const Watched watched;
    Run(Child("arguments \"a b\" \"\" %TEMP% \"[PLACE], [1] is [NOSUCHPROPERTY]nothing\""));
    EXPECT_EQ(Output(), "<a b><><%TEMP%><there,  is nothing>");
}

TEST_F(ProgramsTest, AProgramStartsHiddenOrWithoutPipeAndEndsWithItsCode) {
    Run(Child("exit 0")); // what the engine opens once is open now
    for (const bool pipe : {true, false}) {
        const int handles = OpenHandleCount();
        // 259 is a code which a running program has too.
        const std::string code = pipe ? "259" : "3010";
        const std::string commandLine = Child("print 3 exit " + code);
        std::unique_ptr<ReplacedImport<decltype(NoPipe)>> noPipe;
        if (!pipe)
            noPipe = std::make_unique<ReplacedImport<decltype(NoPipe)>>("CreatePipe", NoPipe);
        const Watched watched;
        Run(commandLine, 0, pipe);
        EXPECT_EQ(Output(), pipe ? "aaa" : "");
        EXPECT_EQ(Log().back(), "RunRedistProgram(" + commandLine + "). Return value " + code);
        EXPECT_EQ(watched.startup.dwFlags, pipe ? STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW : 0u);
        EXPECT_EQ(watched.startup.wShowWindow, SW_HIDE);
        EXPECT_EQ(watched.creationFlags, static_cast<DWORD>(CREATE_NO_WINDOW));
        EXPECT_EQ(OpenHandleCount(), handles) << "left open";
    }
}

TEST_F(ProgramsTest, AProgramThatDoesNotStartUsesItsWholeBudgetAtOnce) {
    Run("C:\\none.exe /q", 5);
    EXPECT_THAT(Log(), ElementsAre("RunRedistProgram(C:\\none.exe /q). failed: 2"));
    ExpectProgress(0, 500000);
    Run(Child("exit 0"), 5, true, "C:\\no such folder");
    EXPECT_TRUE(Contains(Log(), "failed: 267"));
}

TEST_F(ProgramsTest, FileVersionsAreComparedByTheirNumbers) {
    const std::string path = TestProgramFolder() + "child_program.exe";
    EXPECT_TRUE(CheckFileVersion(session, path, "2.10.0.300"));
    EXPECT_TRUE(CheckFileVersion(session, path, "2.9.0.301"));
    EXPECT_FALSE(CheckFileVersion(session, path, "2.10.0.301"));
    EXPECT_FALSE(CheckFileVersion(session, TestProgramFolder() + "programs_test.exe", "0.0.0.0"));
    const std::string found = "File: " + path + " Version: 2.10.0.300 found. Needed Version: ";
    EXPECT_THAT(Log(), ElementsAre(found + "2.10.0.300", found + "2.9.0.301", found + "2.10.0.301",
                                   "Error getting file version info for file: " +
                                       TestProgramFolder() + "programs_test.exe"));
}
