// Copies and removes 10,000 files in 100 folders, beside the engine's xcopy and rmdir.
// Prints a line for each: name, our time as a multiple of theirs, theirs.
#include "frame/files.h"
#include "frame/handles.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace setupactions;

namespace {

const int Runs = 3;
const int Folders = 100;
const int FilesInFolder = 100;
const size_t FileSize = 1000;

double Seconds() {
    LARGE_INTEGER frequency, now;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

void Require(bool done, const char* what) {
    if (done)
        return;
    std::fprintf(stderr, "files_bench: %s: error %lu\n", what, GetLastError());
    std::exit(1);
}

void MakeTree(const std::string& root) {
    CreateDirectoryA(root.c_str(), nullptr);
    for (int folder = 0; folder < Folders; ++folder) {
        const std::string path = root + "\\" + std::to_string(folder);
        CreateDirectoryA(path.c_str(), nullptr);
        for (int file = 0; file < FilesInFolder; ++file)
            Require(WriteNewFile(path + "\\" + std::to_string(file), std::string(FileSize, 'x')) ==
                        FileWrite::Whole,
                    "a file of the tree");
    }
}

bool IsThere(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void RunProgram(std::string commandLine) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started = {};
    Require(CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                           nullptr, nullptr, &startup, &started),
            commandLine.c_str());
    const KernelHandle process(started.hProcess), thread(started.hThread);
    WaitForSingleObject(process.Get(), INFINITE);
}

// The shortest time of an action's runs so far.
struct Best {
    double seconds = 1e9;
    template <typename Action>
    void Time(Action action) {
        const double start = Seconds();
        action();
        seconds = std::min(seconds, Seconds() - start);
    }
};

} // namespace

// The argument is a folder that is not there yet; it is removed at the end.
int main(int count, char** arguments) {
    if (count != 2)
        return 2;
    const std::string root = arguments[1], tree = root + "\\tree", mine = root + "\\mine",
                      theirs = root + "\\theirs", last = "\\99\\99";
    Require(CreateDirectoryA(root.c_str(), nullptr), root.c_str());
    MakeTree(tree);
    const std::string xcopyTree =
        std::string("xcopy /s /e /i /q ").append(tree).append(" ").append(theirs);
    Best copying, removing, xcopy, rmdir, starting;
    for (int run = 0; run < Runs; ++run) {
        copying.Time([&] { CopyDirectory(0, tree, mine); });
        xcopy.Time([&] { RunProgram(xcopyTree); });
        Require(IsThere(mine + last) && IsThere(theirs + last), "copying");
        removing.Time([&] { RemoveFolderStructure(0, mine); });
        rmdir.Time([&] { RunProgram("cmd /c rmdir /s /q " + theirs); });
        Require(!IsThere(mine) && !IsThere(theirs), "removing");
        starting.Time([&] { RunProgram("cmd /c exit"); });
    }
    RemoveFolderStructure(0, root);
    const auto print = [&](const char* name, const Best& ours, const Best& program,
                           const char* what) {
        std::printf("%s\t%.2f\t%s\n", name, ours.seconds / (program.seconds - starting.seconds),
                    what);
    };
    print("copy 10,000 files in 100 folders", copying, xcopy, "xcopy, without its start");
    print("remove them", removing, rmdir, "rmdir, without its start");
    return 0;
}
