#include "frame/programs.h"

#include "tests/support/open_handles.h"
#include "tests/support/session_test.h"
#include "tests/support/test_folder.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const DWORD EndOfTime = 20000; // milliseconds that no child program needs

// The runner's platform calls, watched and steered.
struct Calls {
    ReplacedImport<BOOL WINAPI(HANDLE*, HANDLE*, SECURITY_ATTRIBUTES*, DWORD)> createPipe;
    ReplacedImport<BOOL WINAPI(HANDLE, HANDLE, HANDLE, HANDLE*, DWORD, BOOL, DWORD)> duplicate;
    ReplacedImport<BOOL WINAPI(const char*, char*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL,
                               DWORD, void*, const char*, STARTUPINFOA*, PROCESS_INFORMATION*)>
        createProcess;
    ReplacedImport<BOOL WINAPI(HANDLE, void*, DWORD, DWORD*, DWORD*, DWORD*)> peek;
    ReplacedImport<BOOL WINAPI(HANDLE, DWORD*)> exitCode;
    ReplacedImport<DWORD WINAPI(HANDLE, DWORD)> wait;
    ReplacedImport<void WINAPI(DWORD)> sleep;
    ReplacedImport<int WINAPI(MSIHANDLE, INSTALLMESSAGE, MSIHANDLE)> processMessage;
    OpenHandles handles;

    Calls();
    ~Calls();

    // What fails.
    bool failPipe = false;
    int failDuplicate = 0; // 1 and 2: the call of that number
    DWORD failProcess = 0; // the error
    // 0: the program is seen to end at the second poll after its end, so that
    // all it printed was read. Otherwise it ends at this poll.
    int endsAtPoll = 0;
    bool lookAtProcess = false; // lets the library itself see that the process ended

    int duplicates = 0;
    int polls = 0;
    bool ended = false;
    std::string order; // of the calls: Peek, Exit code, Sleep, Message
    std::vector<DWORD> sleeps;
    STARTUPINFOA startup = {};
    DWORD creationFlags = 0;
    size_t openAtStart = 0;
    std::set<HANDLE> inherited;
};
Calls* calls;

BOOL WINAPI WatchedCreatePipe(HANDLE* readEnd, HANDLE* writeEnd, SECURITY_ATTRIBUTES* security,
                              DWORD size) {
    if (calls->failPipe || !calls->createPipe.Original()(readEnd, writeEnd, security, size))
        return FALSE;
    OpenHandles::Opened(*readEnd);
    OpenHandles::Opened(*writeEnd);
    return TRUE;
}

BOOL WINAPI WatchedDuplicate(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess,
                             HANDLE* target, DWORD access, BOOL inherit, DWORD options) {
    if (++calls->duplicates == calls->failDuplicate ||
        !calls->duplicate.Original()(sourceProcess, source, targetProcess, target, access, inherit,
                                     options))
        return FALSE;
    OpenHandles::Opened(*target);
    return TRUE;
}

BOOL WINAPI WatchedCreateProcess(const char* application, char* commandLine,
                                 SECURITY_ATTRIBUTES* processSecurity,
                                 SECURITY_ATTRIBUTES* threadSecurity, BOOL inherit, DWORD flags,
                                 void* environment, const char* folder, STARTUPINFOA* startup,
                                 PROCESS_INFORMATION* process) {
    EXPECT_EQ(application, nullptr);
    EXPECT_EQ(environment, nullptr);
    EXPECT_TRUE(inherit);
    calls->startup = *startup;
    calls->creationFlags = flags;
    calls->openAtStart = calls->handles.All().size();
    for (const HANDLE handle : calls->handles.All()) {
        DWORD information = 0;
        if (GetHandleInformation(handle, &information) && (information & HANDLE_FLAG_INHERIT))
            calls->inherited.insert(handle);
    }
    if (calls->failProcess != 0) {
        SetLastError(calls->failProcess);
        return FALSE;
    }
    if (!calls->createProcess.Original()(application, commandLine, processSecurity, threadSecurity,
                                         inherit, flags, environment, folder, startup, process))
        return FALSE;
    OpenHandles::Opened(process->hProcess);
    OpenHandles::Opened(process->hThread);
    return TRUE;
}

BOOL WINAPI WatchedPeek(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* available,
                        DWORD* left) {
    calls->order += 'P';
    return calls->peek.Original()(pipe, buffer, size, read, available, left);
}

BOOL WINAPI WatchedExitCode(HANDLE process, DWORD* exitCode) {
    calls->order += 'E';
    ++calls->polls;
    bool seen = calls->ended;
    if (calls->endsAtPoll != 0)
        seen = calls->polls == calls->endsAtPoll;
    const bool wait = calls->endsAtPoll != 0 && seen;
    calls->ended = calls->wait.Original()(process, wait ? EndOfTime : 0) == WAIT_OBJECT_0;
    *exitCode = STILL_ACTIVE;
    return !seen || calls->exitCode.Original()(process, exitCode);
}

DWORD WINAPI WatchedWait(HANDLE handle, DWORD milliseconds) {
    return calls->lookAtProcess ? calls->wait.Original()(handle, milliseconds) : WAIT_TIMEOUT;
}

void WINAPI BriefSleep(DWORD milliseconds) {
    calls->order += 'S';
    calls->sleeps.push_back(milliseconds);
    calls->sleep.Original()(1);
}

int WINAPI WatchedMessage(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record) {
    calls->order += 'M';
    return calls->processMessage.Original()(session, type, record);
}

Calls::Calls()
    : createPipe("CreatePipe", WatchedCreatePipe), duplicate("DuplicateHandle", WatchedDuplicate),
      createProcess("CreateProcessA", WatchedCreateProcess), peek("PeekNamedPipe", WatchedPeek),
      exitCode("GetExitCodeProcess", WatchedExitCode), wait("WaitForSingleObject", WatchedWait),
      sleep("Sleep", BriefSleep), processMessage("MsiProcessMessage", WatchedMessage) {
    calls = this;
}
Calls::~Calls() { calls = nullptr; }

std::string Child(const std::string& commands) {
    return "\"" + TestProgramFolder() + "child_program.exe\" " + commands;
}

std::string Letters(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += static_cast<char>('a' + i % 26);
    return text;
}

class ProgramsTest : public SessionTest {
protected:
    // The log's line that the program ended with this code.
    static std::string Ended(const std::string& commandLine, const std::string& code) {
        return "RunRedistProgram(" + commandLine + "). Return value " + code;
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

    // The moves of the progress bar, after the message that begins them.
    std::vector<std::string> Progress() const {
        std::vector<std::string> moves;
        for (const Message& message : messages)
            if (message.type == INSTALLMESSAGE_PROGRESS)
                moves.push_back(message.text);
        EXPECT_EQ(moves.at(0), "1: 1 2: 1 3: 0 ");
        moves.erase(moves.begin());
        return moves;
    }

    static std::vector<std::string> Moves(size_t polls, int rest) {
        std::vector<std::string> moves(polls, "1: 2 2: 10000 3: 0 ");
        if (rest != 0)
            moves.push_back("1: 2 2: " + std::to_string(rest) + " 3: 0 ");
        return moves;
    }
};

} // namespace

TEST_F(ProgramsTest, TheBarMovesWithThePollsAndNeverPastTheBudget) {
    const struct {
        int units;
        int polls;
        size_t moves;
        int rest;
    } cases[] = {{5, 1, 1, 490000}, {5, 3, 3, 470000}, {1, 9, 9, 10000},   {1, 10, 10, 0},
                 {1, 14, 10, 0},    {0, 2, 0, 0},      {50, 2, 2, 4980000}};
    for (const auto& row : cases) {
        ClearMessages();
        Calls watched;
        watched.endsAtPoll = row.polls;
        EXPECT_EQ(RunRedistProgram(session, Child("exit 0"), row.units, false), 0u);
        EXPECT_EQ(Progress(), Moves(row.moves, row.rest)) << row.units << ", " << row.polls;
        EXPECT_EQ(watched.sleeps, std::vector<DWORD>(static_cast<size_t>(row.polls), 100));
    }
}

TEST_F(ProgramsTest, APollReadsOutputThenExitCodeThenSleepsThenMoves) {
    Calls watched;
    watched.endsAtPoll = 2;
    RunRedistProgram(session, Child("exit 0"), 1, false);
    EXPECT_EQ(watched.order, "M"
                             "PESM"
                             "PESM"
                             "MM");
}

TEST_F(ProgramsTest, OutputArrivesWholeAndInOrder) {
    const struct {
        const char* commands;
        std::string output;
    } cases[] = {
        {"exit 0", ""},
        {"print 1", "a"},
        {"print 1024", Letters(1024)},
        {"print 1025", Letters(1025)},
        {"print 200000", Letters(200000)},
        {"error 9000", Letters(9000)},
        {"print 3 error 2 print 1", "abcaba"},
        {"print 5 pause 40 print 2000 pause 40 print 1", Letters(5) + Letters(2000) + "a"},
    };
    for (const auto& row : cases) {
        ClearMessages();
        const Calls watched;
        RunRedistProgram(session, Child(row.commands), 0, true);
        EXPECT_EQ(Output(), row.output) << row.commands;
        EXPECT_EQ(Log().back(), Ended(Child(row.commands), "0"));
    }
}

TEST_F(ProgramsTest, OutputAfterTheLastPollIsNotRead) {
    Calls watched;
    watched.endsAtPoll = 1;
    const std::string commandLine = Child("pause 300 print 10");
    RunRedistProgram(session, commandLine, 0, true);
    EXPECT_THAT(Log(), ElementsAre(Ended(commandLine, "0")));
}

TEST_F(ProgramsTest, BracketsInTheOutputAreResolved) {
    const Calls watched;
    SetProperty("PLACE", "there");
    RunRedistProgram(session, Child("text \"it is [PLACE], [1] is [NOSUCHPROPERTY]nothing\""), 0,
                     true);
    EXPECT_EQ(Output(), "it is there,  is nothing");
}

TEST_F(ProgramsTest, TheExitCodeIsOnlyLogged) {
    for (const char* code : {"0", "1", "3010", "1603", "-1", "258", "260"}) {
        ClearMessages();
        const Calls watched;
        const std::string commandLine = Child(std::string("exit ") + code);
        EXPECT_EQ(RunRedistProgram(session, commandLine, 0, false), 0u);
        EXPECT_THAT(Log(), ElementsAre(Ended(commandLine, code)));
    }
}

TEST_F(ProgramsTest, AProgramThatEndsWithTheCodeOfARunningOneIsNotWaitedForForever) {
    Calls watched;
    watched.lookAtProcess = true;
    const std::string commandLine = Child("exit 259");
    RunRedistProgram(session, commandLine, 0, false);
    EXPECT_THAT(Log(), ElementsAre(Ended(commandLine, "259")));
}

TEST_F(ProgramsTest, ArgumentsAndWorkingFolderReachTheProgram) {
    char ownFolder[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof ownFolder, ownFolder);
    const struct {
        const char* commands;
        const char* folder;
        std::string output;
    } cases[] = {{"folder", nullptr, ownFolder},
                 {"folder", "C:\\windows\\system32", "C:\\windows\\system32"},
                 {"arguments \"a b\" c \"\" %TEMP%", nullptr, "<a b><c><><%TEMP%>"}};
    for (const auto& row : cases) {
        ClearMessages();
        const Calls watched;
        RunRedistProgram(session, Child(row.commands), 0, true, row.folder);
        EXPECT_EQ(Output(), row.output) << row.commands;
    }
}

TEST_F(ProgramsTest, TheWindowIsHiddenOnlyWhenAsked) {
    for (const bool hide : {false, true}) {
        const Calls watched;
        RunRedistProgram(session, Child("exit 0"), 0, hide);
        EXPECT_EQ(watched.startup.cb, 68u);
        EXPECT_EQ(watched.startup.dwFlags,
                  static_cast<DWORD>(STARTF_USESTDHANDLES | (hide ? STARTF_USESHOWWINDOW : 0)));
        EXPECT_EQ(watched.startup.wShowWindow, SW_HIDE);
        EXPECT_EQ(watched.creationFlags, static_cast<DWORD>(CREATE_NO_WINDOW));
    }
}

TEST_F(ProgramsTest, TheProgramInheritsItsOutputAndNoOtherEndOfThePipe) {
    const Calls watched;
    RunRedistProgram(session, Child("exit 0"), 0, false);
    EXPECT_EQ(watched.openAtStart, 3u) << "the read end and two copies of the write end";
    EXPECT_EQ(watched.inherited,
              (std::set<HANDLE>{watched.startup.hStdOutput, watched.startup.hStdError}));
    EXPECT_NE(watched.startup.hStdOutput, watched.startup.hStdError);
    EXPECT_EQ(watched.startup.hStdInput, nullptr);
}

TEST_F(ProgramsTest, AProgramThatDoesNotStartUsesItsWholeBudgetAtOnce) {
    const std::string missing = TestProgramFolder() + "no_such_program.exe /q";
    const struct {
        std::string commandLine;
        const char* folder;
        DWORD refused;
        const char* error;
    } cases[] = {{missing, nullptr, 0, "2"},
                 {Child("exit 0"), "C:\\no such folder", 0, "267"},
                 {Child("exit 0"), nullptr, ERROR_ACCESS_DENIED, "5"}};
    for (const auto& row : cases) {
        ClearMessages();
        Calls watched;
        watched.failProcess = row.refused;
        EXPECT_EQ(RunRedistProgram(session, row.commandLine, 5, true, row.folder), 0u);
        EXPECT_THAT(Log(),
                    ElementsAre("RunRedistProgram(" + row.commandLine + "). failed: " + row.error));
        EXPECT_EQ(Progress(), Moves(0, 500000));
        EXPECT_THAT(watched.sleeps, IsEmpty());
    }
}

TEST_F(ProgramsTest, AProgramRunsWithoutItsOutputWhenThePipeFails) {
    const struct {
        bool pipe;
        int duplicate;
        bool startOutput;
        bool startError;
        const char* output;
    } cases[] = {
        {true, 0, false, false, ""}, {false, 1, false, true, "ab"}, {false, 2, true, false, "abc"}};
    for (const auto& row : cases) {
        ClearMessages();
        Calls watched;
        watched.failPipe = row.pipe;
        watched.failDuplicate = row.duplicate;
        const std::string commandLine = Child("print 3 error 2 exit 7");
        RunRedistProgram(session, commandLine, 0, false);
        EXPECT_EQ(watched.startup.dwFlags, row.pipe ? 0u : DWORD(STARTF_USESTDHANDLES));
        EXPECT_EQ(watched.startup.hStdOutput != nullptr, row.startOutput);
        EXPECT_EQ(watched.startup.hStdError != nullptr, row.startError);
        EXPECT_EQ(Output(), row.output);
        EXPECT_EQ(Log().back(), Ended(commandLine, "7"));
    }
}

TEST_F(ProgramsTest, ProgressTimeIsLoggedAndMovesTheBar) {
    EXPECT_EQ(UseProgressTime(session, 30 * ProgressUnitTicks), 0u);
    EXPECT_THAT(Log(), ElementsAre("UseProgressTime: 3000000 ticks"));
    EXPECT_EQ(messages.back().type, INSTALLMESSAGE_PROGRESS);
    EXPECT_EQ(messages.back().text, "1: 2 2: 3000000 3: 0 ");
}

TEST_F(ProgramsTest, FileVersionsAreComparedByTheirNumbers) {
    const std::string path = TestProgramFolder() + "child_program.exe";
    const struct {
        const char* needed;
        bool enough;
    } cases[] = {{"2.10.0.300", true},  {"2.10.0.299", true}, {"2.9.0.301", true},
                 {"1.99.99.999", true}, {"2.10", true},       {"", true},
                 {"2.10.0.301", false}, {"2.11", false},      {"10.0.0.0", false}};
    for (const auto& row : cases) {
        ClearMessages();
        EXPECT_EQ(CheckFileVersion(session, path, row.needed), row.enough) << row.needed;
        EXPECT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages.at(0).text, "File: " + path +
                                           " Version: 2.10.0.300 found. "
                                           "Needed Version: " +
                                           row.needed);
    }
}

TEST_F(ProgramsTest, AFileWithoutAVersionIsNeverEnough) {
    const std::string paths[] = {
        TestProgramFolder() + "programs_test.exe",
        TestProgramFolder() + "no_such_file.dll",
        "C:\\" + std::string(297, 'x'),
        "C:\\windows",
        "",
    };
    for (const std::string& path : paths) {
        ClearMessages();
        EXPECT_FALSE(CheckFileVersion(session, path, "0.0.0.0"));
        EXPECT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages.at(0).text, "Error getting file version info for file: " + path);
    }
}
