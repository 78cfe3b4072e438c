// logreport: reads an installer's log and says what became of the installation, why,
// and what to do.
#include "tools/logreport/filling.h"
#include "tools/logreport/html.h"
#include "tools/logreport/report.h"
#include "tools/logreport/texts.h"

#include "frame/windows_api.h"

#include <shlwapi.h>

#include <cstdio>
#include <cstring>

using namespace logreport;

namespace {

const int ExitSucceeded = 0;
const int ExitFailed = 1;
const int ExitNoLog = 2;
const int ExitCutOff = 3;

const char Usage[] =
    "usage: logreport LOG [--html PAGE [--reference ADDRESS]]\n"
    "Says what became of the installation, why, and what to do; with --html in a page for\n"
    "the browser. Its links lead to the reference's folder at the address, by default to\n"
    "the folder docs beside the program.\n"
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

struct Words {
    std::string log;
    std::string page; // empty: text
    std::string reference;
};

// False: not to be understood.
bool ReadWords(int count, char** words, Words& read) {
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        std::string* value = word == "--html"        ? &read.page
                             : word == "--reference" ? &read.reference
                             : read.log.empty()      ? &read.log
                                                     : nullptr;
        const bool isOption = word.compare(0, 1, "-") == 0;
        if (value == nullptr || isOption == (value == &read.log) || (isOption && ++i == count))
            return false;
        *value = words[i];
    }
    return !read.log.empty();
}

// Empty where there is none.
std::string ReferenceBesideProgram() {
    char path[MAX_PATH] = "";
    const DWORD length = GetModuleFileNameA(nullptr, path, MAX_PATH);
    if (length == 0 || length == MAX_PATH)
        return "";
    const std::string program(path, length);
    const std::string folder = program.substr(0, program.rfind('\\') + 1) + "docs\\";
    return PathFileExistsA((folder + "actions.html").c_str()) ? FileAddress(Clean(folder)) : "";
}

void WritePage(const Words& words, const Log& log) {
    const std::string page =
        HtmlPage(log, Clean(words.log),
                 words.reference.empty() ? ReferenceBesideProgram() : Clean(words.reference));
    std::FILE* file = std::fopen(words.page.c_str(), "wb");
    const bool isWritten =
        file != nullptr && std::fwrite(page.data(), 1, page.size(), file) == page.size();
    const bool isClosed = file != nullptr && std::fclose(file) == 0;
    if (!isWritten || !isClosed)
        throw std::runtime_error("the page " + words.page + " cannot be written");
}

int Report(const Words& words) {
    Reader reader(words.log);
    const Log log = ReadLog(reader);
    if (!log.isLog)
        throw NotReadable("is not an installer's log");
    if (words.page.empty())
        Print(TextReport(log, Clean(words.log)));
    else
        WritePage(words, log);
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
    Words read;
    if (!ReadWords(count, words, read)) {
        std::fputs(Usage, stderr);
        return ExitNoLog;
    }
    try {
        return Report(read);
    } catch (const NotReadable& error) {
        std::fprintf(stderr, "logreport: %s %s\n", read.log.c_str(), error.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "logreport: %s: %s\n", read.log.c_str(), error.what());
    }
    return ExitNoLog;
}
