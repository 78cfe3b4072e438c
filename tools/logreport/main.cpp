// logreport: reads an installer's log and says what became of the installation, why,
// and what to do.
#include "tools/logreport/filling.h"
#include "tools/logreport/report.h"

#include "frame/windows_api.h"

#include <cstdio>
#include <cstring>

using namespace logreport;

namespace {

const int ExitSucceeded = 0;
const int ExitFailed = 1;
const int ExitNoLog = 2;
const int ExitCutOff = 3;

const char Usage[] =
    "usage: logreport LOG\n"
    "Exit code 0: the installation succeeded; 1: it failed; 2: no log, or not to be read;\n"
    "3: the log ends before its outcome.\n";

// A console shows text in its own code page; a file or pipe gets UTF-8.
void Print(const std::string& text) {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (!GetConsoleMode(output, &mode)) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        return;
    }
    std::wstring wide(text.size(), L'\0');
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         &wide[0], static_cast<int>(wide.size()));
    const DWORD most = 4096; // more at once is refused by old systems
    DWORD written = 0;
    for (DWORD at = 0; at < static_cast<DWORD>(size); at += most) {
        const DWORD rest = static_cast<DWORD>(size) - at;
        WriteConsoleW(output, &wide[at], rest < most ? rest : most, &written, nullptr);
    }
}

int Report(const std::string& file) {
    Reader reader(file);
    const Log log = ReadLog(reader);
    if (!log.isLog)
        throw NotReadable("is not an installer's log");
    Print(TextReport(log, file));
    const Installation* installation = log.Main();
    if (installation == nullptr || installation->outcome == Outcome::NotSaid)
        return ExitCutOff;
    return installation->outcome == Outcome::Succeeded ? ExitSucceeded : ExitFailed;
}

} // namespace

int main(int count, char** words) {
    if (count == 2 && std::strcmp(words[1], "--help") == 0) {
        std::fputs(Usage, stdout);
        return ExitSucceeded;
    }
    if (count != 2 || words[1][0] == '-') {
        std::fputs(Usage, stderr);
        return ExitNoLog;
    }
    try {
        return Report(words[1]);
    } catch (const NotReadable& error) {
        std::fprintf(stderr, "logreport: %s %s\n", words[1], error.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "logreport: %s: %s\n", words[1], error.what());
    }
    return ExitNoLog;
}
