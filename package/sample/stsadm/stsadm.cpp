// Stands in for SharePoint's administration tool: appends the command line of each call to
// stsadm.log in its own folder.
#include <windows.h>

#include <cstdio>

int main() {
    const char logName[] = "stsadm.log";
    char path[MAX_PATH + sizeof logName];
    const DWORD length = GetModuleFileNameA(nullptr, path, MAX_PATH);
    if (length == 0 || length == MAX_PATH)
        return 1;
    char* name = path + length;
    while (name > path && name[-1] != '\\')
        --name;
    lstrcpyA(name, logName);
    std::FILE* const log = std::fopen(path, "a");
    if (log == nullptr)
        return 1;
    std::fprintf(log, "%s\n", GetCommandLineA());
    std::fclose(log);
    std::puts("Operation completed successfully.");
    return 0;
}
