#include "frame/programs.h"

#include "tests/support/refused_processes.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

// Controls when the runner notices the end of a program that exits with 259, the code of a
// running one. Shortens its sleeps, and records what it asked for.
class Watched {
public:
    // 0: the end is noticed one poll late, when all output has been read.
    explicit Watched(int endsAtPoll = 0) : endsAtPoll_(endsAtPoll) { current = this; }

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
    static DWORD WINAPI Wait(HANDLE process, DWORD milliseconds) {
        const DWORD endOfTime = 20000; // milliseconds that no child program needs
        if (milliseconds != 0)
            return current->wait_.Original()(process, milliseconds); // not the runner
        const bool last = ++current->polls_ == current->endsAtPoll_;
        const bool seen = current->endsAtPoll_ == 0 ? current->ended_ : last;
        current->ended_ = current->wait_.Original()(process, last ? endOfTime : 0) == WAIT_OBJECT_0;
        return seen ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }
    static void WINAPI BriefSleep(DWORD milliseconds) {
        EXPECT_EQ(milliseconds, 100u);
        current->sleep_.Original()(1);
    }

    static inline Watched* current;
    const int endsAtPoll_;
    int polls_ = 0;
    bool ended_ = false;
    ReplacedImport<decltype(CreateProcessA)> create_{"CreateProcessA", Create};
    ReplacedImport<decltype(WaitForSingleObject)> wait_{"WaitForSingleObject", Wait};
    ReplacedImport<decltype(Sleep)> sleep_{"Sleep", BriefSleep};
};

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

    // Everything that the program printed, in pieces, and then the line about its end.
    std::string Output() const {
        std::string output;
        for (const std::string& line : Log())
            output += line.substr(0, 1024);
        return output;
    }

    // Expects the progress bar to move at so many polls and then by the rest.
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
        const char* name;
        int units, polls;
        size_t moves;
        int rest;
    } cases[] = {{"ends early", 5, 3, 3, 470000},
                 {"ends one poll early", 1, 9, 9, 10000},
                 {"outlasts its budget", 1, 14, 10, 0},
                 {"no budget", 0, 2, 0, 0}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const Watched watched(row.polls);
        Run(Child("exit 259"), row.units);
        ExpectProgress(row.moves, row.rest);
    }
}

TEST_F(ProgramsTest, OutputArgumentsAndWorkingFolderArriveWhole) {
    const std::string folder = "C:\\windows\\system32";
    {
        const Watched watched;
        Run(Child("exit 259 print 1025 error 200000 folder"), 0, false, folder.c_str());
        EXPECT_THAT(Output(), StartsWith(std::string(201025, 'a') + folder + "RunRedist"));
    }
    SetProperty("PLACE", "there");
    const Watched watched;
    Run(Child(
        "exit 259 arguments \"a b\" \"\" %TEMP% \"[PLACE], [1] is [NOSUCHPROPERTY]nothing\""));
    EXPECT_THAT(Output(), StartsWith("<a b><><%TEMP%><there,  is nothing>RunRedist"));
}

namespace {

BOOL WINAPI BeginsTwoBytes(UINT, BYTE byte) { return byte == 'a'; }

} // namespace

TEST_F(ProgramsTest, OutputIsReadInTheConsolesCodePageCharacterByCharacter) {
    {
        const Watched watched;
        Run(Child("exit 259 arguments \x84"));
        EXPECT_EQ(Log().front(), "<\xE4>");
    }
    const ReplacedImport<decltype(BeginsTwoBytes)> lead("IsDBCSLeadByteEx", BeginsTwoBytes);
    const Watched watched;
    Run(Child("exit 259 arguments " + std::string(1500, 'a')));
    EXPECT_EQ(Log().front(), "<" + std::string(1022, 'a')) << "half a character more";
    EXPECT_THAT(Output(), StartsWith("<" + std::string(1500, 'a') + ">RunRedist"));
}

TEST_F(ProgramsTest, AProgramStartsHiddenOrNotAndEndsWithItsCode) {
    for (const bool hide : {true, false}) {
        // 259 is also the code of a running program.
        const std::string commandLine = Child("print 3 exit 259");
        const Watched watched;
        Run(commandLine, 0, hide);
        EXPECT_THAT(Log(),
                    ElementsAre("aaa", "RunRedistProgram(" + commandLine + "). Return value 259"));
        EXPECT_EQ((watched.startup.dwFlags & STARTF_USESHOWWINDOW) != 0, hide);
        EXPECT_EQ(watched.creationFlags, static_cast<DWORD>(CREATE_NO_WINDOW));
    }
}

TEST_F(ProgramsTest, AProgramThatDoesNotStartUsesItsWholeBudgetAtOnce) {
    Run("C:\\none.exe /q", 5);
    EXPECT_THAT(Log(), ElementsAre("RunRedistProgram(C:\\none.exe /q). failed: 2"));
    ExpectProgress(0, 500000);
    Run(Child("exit 0"), 5, true, "C:\\no such folder");
    EXPECT_TRUE(Contains(Log(), "failed: 267"));
}

TEST_F(ProgramsTest, ACommandWithoutAProgramStartsNoOther) {
    const RefusedProcesses processes;
    for (const std::string command : {"", " -qqo \"a.zip\"", "\t/q", "\"", "\"\" /q", "\" \" /q"}) {
        Run(command);
        EXPECT_THAT(Log(), ElementsAre("RunRedistProgram(" + command + "). failed: 2"));
    }
    EXPECT_TRUE(processes.started.empty());
}

namespace {

int looks;
const int TooManyLooks = 2000;

BOOL WINAPI AlwaysMore(HANDLE, void*, DWORD, DWORD*, DWORD* waiting, DWORD*) {
    *waiting = 1024;
    return ++looks < TooManyLooks;
}
BOOL WINAPI ReadBlanks(HANDLE, void* buffer, DWORD size, DWORD* read, OVERLAPPED*) {
    FillMemory(buffer, size, ' ');
    *read = size;
    return TRUE;
}
DWORD WINAPI WaitFails(HANDLE, DWORD) { return WAIT_FAILED; }
BOOL WINAPI ExitCodeFails(HANDLE, DWORD* code) {
    *code = STILL_ACTIVE + (++looks < TooManyLooks ? 0 : 1);
    SetLastError(ERROR_ACCESS_DENIED);
    return looks >= TooManyLooks;
}
void WINAPI NoSleep(DWORD) {}

} // namespace

TEST_F(ProgramsTest, NeitherAFloodedPipeNorFailingCallsHoldTheAction) {
    const std::string line = "RunRedistProgram(" + Child("exit 5") + "). Return value ";
    {
        looks = 0;
        const ReplacedImport<decltype(AlwaysMore)> peek("PeekNamedPipe", AlwaysMore);
        const ReplacedImport<decltype(ReadBlanks)> read("ReadFile", ReadBlanks);
        const Watched watched(1);
        Run(Child("exit 5"));
        EXPECT_LT(looks, TooManyLooks);
        EXPECT_EQ(Log().back(), line + "5");
    }
    looks = 0;
    const ReplacedImport<decltype(WaitFails)> wait("WaitForSingleObject", WaitFails);
    const ReplacedImport<decltype(ExitCodeFails)> code("GetExitCodeProcess", ExitCodeFails);
    const ReplacedImport<decltype(NoSleep)> sleep("Sleep", NoSleep);
    Run(Child("exit 5"));
    EXPECT_EQ(Log().back(), line + "unknown: 5");
}
