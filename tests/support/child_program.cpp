// A program for tests to start. Its arguments are commands, done in order:
//   print N, error N  writes N times "a" to standard output or standard error
//   pause N           waits N milliseconds
//   folder            writes the working folder
//   arguments ...     writes all further arguments, each in angle brackets
//   wait              waits to be ended, at most a minute, then ends with 77
//   exit N            ends with this code
#include <windows.h>

#include <cstdlib>
#include <string>

static void Write(DWORD standardHandle, const std::string& text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(standardHandle), text.data(), static_cast<DWORD>(text.size()), &written,
              nullptr);
}

static std::string WorkingFolder() {
    char folder[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof folder, folder);
    return folder;
}

int main(int count, char** arguments) {
    for (int i = 1; i < count; ++i) {
        const std::string command = arguments[i];
        if (command == "folder") {
            Write(STD_OUTPUT_HANDLE, WorkingFolder());
        } else if (command == "arguments") {
            while (++i < count)
                Write(STD_OUTPUT_HANDLE, "<" + std::string(arguments[i]) + ">");
        } else if (command == "wait") {
            Sleep(60000);
            return 77;
        } else if (++i == count) {
            return 78; // the command lacks its value
        } else if (command == "print") {
            Write(STD_OUTPUT_HANDLE,
                  std::string(static_cast<size_t>(std::atoi(arguments[i])), 'a'));
        } else if (command == "error") {
            Write(STD_ERROR_HANDLE, std::string(static_cast<size_t>(std::atoi(arguments[i])), 'a'));
        } else if (command == "pause") {
            Sleep(static_cast<DWORD>(std::atoi(arguments[i])));
        } else if (command == "exit") {
            return std::atoi(arguments[i]);
        } else {
            return 79; // no such command
        }
    }
    return 0;
}
