#include "frame/programs.h"

#include "frame/ansi_text.h"

namespace setupactions {

namespace {

const int ProgressActionInformation = 1; // the kinds of progress message
const int ProgressReport = 2;            // moves the bar

const DWORD PollMilliseconds = 100;
const int TicksPerPoll = 10000;
const DWORD OutputPieceSize = 1024;
const int PiecesPerLook = 256; // per poll; enough for a full pipe

void FillProgress(const InstallerHandle& record, int kind, int amount) {
    MsiRecordSetInteger(record.Get(), 1, kind);
    MsiRecordSetInteger(record.Get(), 2, amount);
    MsiRecordSetInteger(record.Get(), 3, 0);
}

void SendProgress(MSIHANDLE session, const InstallerHandle& record) {
    MsiProcessMessage(session, INSTALLMESSAGE_PROGRESS, record.Get());
}

// False when the command line has no program in first place.
bool NamesProgram(const std::string& commandLine) {
    const size_t start = commandLine.compare(0, 1, "\"") == 0 ? 1 : 0;
    return start < commandLine.size() && commandLine.find_first_of(" \t\"", start) != start;
}

struct StartedProgram {
    KernelHandle process; // none when it did not start; error has the reason
    KernelHandle thread;
    KernelHandle output; // read end of its output; none when it is not captured
    DWORD error = ERROR_SUCCESS;
};

KernelHandle InheritableCopy(const KernelHandle& handle) {
    KernelHandle copy;
    DuplicateHandle(GetCurrentProcess(), handle.Get(), GetCurrentProcess(), copy.Out(), 0, TRUE,
                    DUPLICATE_SAME_ACCESS);
    return copy;
}

// Starts the program with its output and errors going into a new pipe, or without one
// when no pipe can be created.
StartedProgram StartProgram(std::string commandLine, bool hideWindow, const char* workingFolder) {
    StartedProgram program;
    if (!NamesProgram(commandLine)) {
        program.error = ERROR_FILE_NOT_FOUND;
        return program;
    }
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    if (hideWindow) {
        startup.dwFlags |= STARTF_USESHOWWINDOW;
        startup.wShowWindow = SW_HIDE;
    }

    // The program inherits its two copies of the write end and nothing else of the pipe.
    // From then on only the program keeps them open.
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    KernelHandle writeEnd, standardOutput, standardError;
    if (CreatePipe(program.output.Out(), writeEnd.Out(), &inheritable, 0)) {
        SetHandleInformation(program.output.Get(), HANDLE_FLAG_INHERIT, 0);
        standardOutput = InheritableCopy(writeEnd);
        standardError = InheritableCopy(writeEnd);
        writeEnd.Reset();
        startup.dwFlags |= STARTF_USESTDHANDLES;
        startup.hStdOutput = standardOutput.Get();
        startup.hStdError = standardError.Get();
    }

    PROCESS_INFORMATION started = {};
    if (CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                       workingFolder, &startup, &started)) {
        program.process.Reset(started.hProcess);
        program.thread.Reset(started.hThread);
    } else {
        program.error = GetLastError();
    }
    return program;
}

// Sends the pipe's contents to the log, piece by piece. Never blocks, and leaves the
// rest to the next poll when the pipe keeps filling. The first half of a two-byte
// character is carried over until the second arrives.
void DrainOutput(MSIHANDLE session, const KernelHandle& output, const InstallerHandle& record,
                 std::string& carried) {
    DWORD waiting = 0;
    for (int pieces = 0;
         pieces < PiecesPerLook &&
         PeekNamedPipe(output.Get(), nullptr, 0, nullptr, &waiting, nullptr) && waiting > 0;
         ++pieces) {
        char buffer[OutputPieceSize] = "";
        DWORD size = 0;
        const DWORD room = OutputPieceSize - static_cast<DWORD>(carried.size());
        if (!ReadFile(output.Get(), buffer, room, &size, nullptr))
            return;
        std::string piece = carried.append(buffer, size);
        carried = TakeHalfOemCharacter(piece);
        if (piece.empty())
            continue;
        MsiRecordSetStringA(record.Get(), 0, OemToAnsi(piece).c_str());
        MsiProcessMessage(session, INSTALLMESSAGE_INFO, record.Get());
    }
}

// Waits until the program ends, logging its output and moving the bar within the budget;
// `sent` grows by the ticks used. Result: 0 and the exit code, or the reason why the code
// cannot be read.
//
// Output after the last look into the pipe stays unread: helpers that the program left
// running may go on printing, and nobody waits for them.
DWORD AwaitProgram(MSIHANDLE session, const StartedProgram& program,
                   const InstallerHandle& progress, int budget, int& sent, DWORD& exitCode) {
    const InstallerHandle output(MsiCreateRecord(2));
    std::string carried;
    exitCode = STILL_ACTIVE;
    DWORD error = ERROR_SUCCESS;
    bool ended = false;
    do {
        DrainOutput(session, program.output, output, carried);
        // A program may end with the very code that means "still active".
        const DWORD wait = WaitForSingleObject(program.process.Get(), 0);
        error =
            GetExitCodeProcess(program.process.Get(), &exitCode) ? ERROR_SUCCESS : GetLastError();
        // If neither can be read, nothing would ever show that it has ended.
        ended = wait == WAIT_OBJECT_0 || (wait == WAIT_FAILED && error != ERROR_SUCCESS);
        Sleep(PollMilliseconds);
        if (sent < budget) {
            SendProgress(session, progress);
            sent += TicksPerPoll;
        }
    } while (exitCode == STILL_ACTIVE && !ended);
    return error;
}

} // namespace

UINT RunRedistProgram(MSIHANDLE session, const std::string& commandLine, int progressUnits,
                      bool hideWindow, const char* workingFolder) {
    const InstallerHandle progress(MsiCreateRecord(3));
    FillProgress(progress, ProgressActionInformation, 1);
    SendProgress(session, progress);
    FillProgress(progress, ProgressReport, TicksPerPoll);

    const int budget = progressUnits * ProgressUnitTicks;
    int sent = 0;
    const StartedProgram program = StartProgram(commandLine, hideWindow, workingFolder);
    if (program.process) {
        DWORD exitCode = 0;
        const DWORD error = AwaitProgram(session, program, progress, budget, sent, exitCode);
        LogMessage(session, error == ERROR_SUCCESS
                                ? Format("RunRedistProgram(%s). Return value %d",
                                         commandLine.c_str(), static_cast<int>(exitCode))
                                : Format("RunRedistProgram(%s). Return value unknown: %d",
                                         commandLine.c_str(), static_cast<int>(error)));
    } else {
        LogFormat(session, "RunRedistProgram(%s). failed: %d", commandLine.c_str(),
                  static_cast<int>(program.error));
    }

    if (budget > sent) {
        MsiRecordSetInteger(progress.Get(), 2, budget - sent);
        SendProgress(session, progress);
    }
    return ERROR_SUCCESS;
}

UINT RunPreparedCommand(MSIHANDLE session, const std::string& commandLine) {
    const int units = 45;
    if (commandLine.empty())
        SendRecord(session, INSTALLMESSAGE_INFO, "Skipping action (CustomActionData is empty)", {});
    else
        RunRedistProgram(session, commandLine, units, false);
    return ERROR_SUCCESS;
}

UINT UseProgressTime(MSIHANDLE session, int ticks) {
    LogFormat(session, "UseProgressTime: %i ticks", ticks);
    const InstallerHandle record(MsiCreateRecord(3));
    FillProgress(record, ProgressReport, ticks);
    SendProgress(session, record);
    return ERROR_SUCCESS;
}

} // namespace setupactions
