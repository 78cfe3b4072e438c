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
    Calls() { calls = this; }

    bool failPipe = false;
    int failDuplicate = 0; // 1 and 2: the call of that number
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
    std::set<HANDLE> inherited;

private:
    static BOOL WINAPI CreatePipeOrFail(HANDLE* readEnd, HANDLE* writeEnd,
                                        SECURITY_ATTRIBUTES* security, DWORD size) {
        if (calls->failPipe || !calls->createPipe.Original()(readEnd, writeEnd, security, size))
            return FALSE;
        OpenHandles::Opened(*readEnd);
        OpenHandles::Opened(*writeEnd);
        return TRUE;
    }
    static BOOL WINAPI DuplicateOrFail(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess,
                                       HANDLE* target, DWORD access, BOOL inherit, DWORD options) {
        if (++calls->duplicates == calls->failDuplicate ||
            !calls->duplicate.Original()(sourceProcess, source, targetProcess, target, access,
                                         inherit, options))
            return FALSE;
        OpenHandles::Opened(*target);
        return TRUE;
    }
    static BOOL WINAPI Create(const char* application, char* commandLine,
                              SECURITY_ATTRIBUTES* processSecurity,
                              SECURITY_ATTRIBUTES* threadSecurity, BOOL inherit, DWORD flags,
                              void* environment, const char* folder, STARTUPINFOA* startup,
                              PROCESS_INFORMATION* process) {
        calls->startup = *startup;
        calls->creationFlags = flags;
        for (const HANDLE handle : calls->handles.All()) {
            DWORD information = 0;
            if (GetHandleInformation(handle, &information) && (information & HANDLE_FLAG_INHERIT))
                calls->inherited.insert(handle);
        }
        if (!calls->createProcess.Original()(application, commandLine, processSecurity,
                                             threadSecurity, inherit, flags, environment, folder,
                                             startup, process))
            return FALSE;
        OpenHandles::Opened(process->hProcess);
        OpenHandles::Opened(process->hThread);
        return TRUE;
    }
    static BOOL WINAPI Peek(HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* available,
                            DWORD* left) {
        calls->order += 'P';
        return calls->peek.Original()(pipe, buffer, size, read, available, left);
    }
    static BOOL WINAPI ExitCode(HANDLE process, DWORD* code) {
        calls->order += 'E';
        const bool seen =
            calls->endsAtPoll == 0 ? calls->ended : ++calls->polls == calls->endsAtPoll;
        const DWORD time = calls->endsAtPoll != 0 && seen ? EndOfTime : 0;
        calls->ended = calls->wait.Original()(process, time) == WAIT_OBJECT_0;
        *code = STILL_ACTIVE;
        return !seen || calls->exitCode.Original()(process, code);
    }
    static DWORD WINAPI Wait(HANDLE handle, DWORD milliseconds) {
        return calls->lookAtProcess ? calls->wait.Original()(handle, milliseconds) : WAIT_TIMEOUT;
    }
    static void WINAPI BriefSleep(DWORD milliseconds) {
        calls->order += 'S';
        calls->sleeps.push_back(milliseconds);
        calls->sleep.Original()(1);
    }
    static int WINAPI KeepOrder(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record) {
        calls->order += 'M';
        return calls->processMessage.Original()(session, type, record);
    }

    static inline Calls* calls;
    OpenHandles handles;
    ReplacedImport<decltype(CreatePipe)> createPipe{"CreatePipe", CreatePipeOrFail};
    ReplacedImport<decltype(DuplicateHandle)> duplicate{"DuplicateHandle", DuplicateOrFail};
    ReplacedImport<decltype(CreateProcessA)> createProcess{"CreateProcessA", Create};
    ReplacedImport<decltype(PeekNamedPipe)> peek{"PeekNamedPipe", Peek};
    ReplacedImport<decltype(GetExitCodeProcess)> exitCode{"GetExitCodeProcess", ExitCode};
    ReplacedImport<decltype(WaitForSingleObject)> wait{"WaitForSingleObject", Wait};
    ReplacedImport<decltype(Sleep)> sleep{"Sleep", BriefSleep};
    ReplacedImport<decltype(MsiProcessMessage)> processMessage{"MsiProcessMessage", KeepOrder};
};

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
    } cases[] = {{5, 3, 3, 470000}, {1, 9, 9, 10000}, {1, 10, 10, 0}, {1, 14, 10, 0}, {0, 2, 0, 0}};
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

TEST_F(ProgramsTest, OutputArgumentsAndWorkingFolderArriveWhole) {
    char ownFolder[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof ownFolder, ownFolder);
    SetProperty("PLACE", "there");
    const struct {
        const char* commands;
        std::string output;
        const char* folder = nullptr;
    } cases[] = {
        {"exit 0", ""},
        {"print 1024", Letters(1024)},
        {"print 1025", Letters(1025)},
        {"error 200000", Letters(200000)},
        {"print 5 pause 40 error 2000 pause 40 print 1", Letters(5) + Letters(2000) + "a"},
        {"text \"it is [PLACE], [1] is [NOSUCHPROPERTY]nothing\"", "it is there,  is nothing"},
        {"folder", ownFolder},
        {"folder", "C:\\windows\\system32", "C:\\windows\\system32"},
        {"arguments \"a b\" c \"\" %TEMP%", "<a b><c><><%TEMP%>"},
    };
    for (const auto& row : cases) {
        ClearMessages();
        const Calls watched;
        RunRedistProgram(session, Child(row.commands), 0, true, row.folder);
        EXPECT_EQ(Output(), row.output) << row.commands;
        EXPECT_THAT(Log().back(), testing::EndsWith("). Return value 0"));
    }
}

TEST_F(ProgramsTest, TheProgramInheritsItsOutputOnlyAndIsHiddenWhenAsked) {
    for (const bool hide : {false, true}) {
        const Calls watched;
        RunRedistProgram(session, Child("exit 0"), 0, hide);
        const STARTUPINFOA& startup = watched.startup;
        EXPECT_EQ(startup.dwFlags,
                  static_cast<DWORD>(STARTF_USESTDHANDLES | (hide ? STARTF_USESHOWWINDOW : 0)));
        EXPECT_EQ(startup.wShowWindow, SW_HIDE);
        EXPECT_EQ(watched.creationFlags, static_cast<DWORD>(CREATE_NO_WINDOW));
        EXPECT_EQ(watched.inherited, (std::set<HANDLE>{startup.hStdOutput, startup.hStdError}));
        EXPECT_NE(startup.hStdOutput, startup.hStdError);
        EXPECT_EQ(startup.hStdInput, nullptr);
    }
}

TEST_F(ProgramsTest, AProgramThatDoesNotStartUsesItsWholeBudgetAtOnce) {
    const struct {
        std::string commandLine;
        const char *folder, *error;
    } cases[] = {{TestProgramFolder() + "no_such_program.exe /q", nullptr, "2"},
                 {Child("exit 0"), "C:\\no such folder", "267"}};
    for (const auto& row : cases) {
        ClearMessages();
        const Calls watched;
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
        std::string output, code;
    } cases[] = {{true, 0, "", "-1"},
                 {false, 1, "ab", "3010"},
                 {false, 2, "abc", "259"}}; // which a running program has too
    for (const auto& row : cases) {
        ClearMessages();
        Calls watched;
        watched.failPipe = row.pipe;
        watched.failDuplicate = row.duplicate;
        watched.lookAtProcess = row.code == "259";
        const std::string commandLine = Child("print 3 error 2 pause 50 exit " + row.code);
        RunRedistProgram(session, commandLine, 0, false);
        EXPECT_EQ(watched.startup.dwFlags, row.pipe ? 0u : DWORD(STARTF_USESTDHANDLES));
        EXPECT_EQ(Output(), row.output);
        EXPECT_EQ(Log().back(), Ended(commandLine, row.code));
    }
}

TEST_F(ProgramsTest, FileVersionsAreComparedByTheirNumbers) {
    const std::string path = TestProgramFolder() + "child_program.exe";
    const std::string without = TestProgramFolder() + "programs_test.exe";
    const std::string missing = "C:\\" + std::string(297, 'x');
    const struct {
        std::string path, needed;
        bool enough;
    } cases[] = {
        {path, "2.10.0.300", true},  {path, "2.9.0.301", true}, {path, "2.10", true},
        {path, "2.10.0.301", false}, {path, "", true},          {without, "0.0.0.0", false},
        {missing, "0.0.0.0", false}, {"", "0.0.0.0", false}};
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
