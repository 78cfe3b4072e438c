// Times one edit of a text file from within, so that the engine's own start
// does not count: textfiles_bench merge|unmerge FILE BLOCK, or
// textfiles_bench instantiate FILE NAMES. Prints seconds and peak kilobytes.
#include "textfiles/line_file.h"

#include <psapi.h>

#include <cstdio>
#include <cstdlib>

using namespace setupactions;

namespace {

bool Merge(const std::string& file, const std::string& block) {
    const LineSearch point = FindLine(file, "[Merge][Point]");
    return point.result == LineResult::Found &&
           InsertBlock(file, block, point.number, BlockPosition::After).done;
}

bool UnMerge(const std::string& file, const std::string& block) {
    const int lines = FindLine(block, "~#$%^&").number;
    const auto [first, last] =
        FindFirstLines(file, ReadLine(block, 1).text, ReadLine(block, lines).text);
    return last != 0 && DeleteLines(file, first, last).done;
}

bool Instantiate(const std::string& file, const std::string& names) {
    std::vector<Placeholder> placeholders;
    for (int i = 1; i <= std::atoi(names.c_str()); ++i)
        placeholders.push_back({"NAME" + std::to_string(i), "value " + std::to_string(i)});
    return FillPlaceholders(file, placeholders).done;
}

bool Run(const std::string& operation, const std::string& file, const std::string& argument) {
    return operation == "merge"     ? Merge(file, argument)
           : operation == "unmerge" ? UnMerge(file, argument)
                                    : Instantiate(file, argument);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4)
        return 2;
    LARGE_INTEGER frequency, start, end;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    if (!Run(arguments[1], arguments[2], arguments[3]))
        return 1;
    QueryPerformanceCounter(&end);

    PROCESS_MEMORY_COUNTERS memory = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
    std::printf("%.4f %lu\n",
                static_cast<double>(end.QuadPart - start.QuadPart) /
                    static_cast<double>(frequency.QuadPart),
                static_cast<unsigned long>(memory.PeakWorkingSetSize / 1024));
    return 0;
}
