// A program for tests to start. Its arguments are commands, executed in order:
//   print N, error N  writes "a" N times to standard output or standard error
//   folder            writes the working folder
//   arguments ...     writes all further arguments, each in angle brackets
//   hold FILE         keeps other programs from opening the file while it runs
//   wait              waits to be terminated, for at most a minute, then exits with 77
//   exit N            exits with this code after the last command
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

static void Write(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

int main(int count, char** arguments) {
    int code = 0;
    for (int i = 1; i < count; ++i) {
        const std::string command = arguments[i];
        if (command == "folder") {
            char folder[MAX_PATH] = "";
            GetCurrentDirectoryA(sizeof folder, folder);
            Write(stdout, folder);
        } else if (command == "arguments") {
            while (++i < count)
                Write(stdout, "<" + std::string(arguments[i]) + ">");
        } else if (command == "hold") {
            // Held until the program ends.
            // cppcheck-suppress leakReturnValNotUsed
            CreateFileA(arguments[++i], GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        } else if (command == "wait") {
            Sleep(60000);
            return 77;
        } else {
            const int number = ++i < count ? std::atoi(arguments[i]) : 0;
            if (command == "exit")
                code = number;
            else
                Write(command == "print" ? stdout : stderr,
                      std::string(static_cast<size_t>(number), 'a'));
        }
    }
    return code;
}
