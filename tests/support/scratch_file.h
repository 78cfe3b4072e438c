// A unique file name for a test; the file is deleted at the end.
#pragma once

#include <windows.h>

#include <string>

class ScratchFile {
public:
    ScratchFile() {
        char folder[MAX_PATH], name[MAX_PATH];
        GetTempPathA(MAX_PATH, folder);
        GetTempFileNameA(folder, "tst", 0, name);
        path_ = name;
    }
    ~ScratchFile() { DeleteFileA(path_.c_str()); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const char* Path() const { return path_.c_str(); }

private:
    std::string path_;
};
