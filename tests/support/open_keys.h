// Watches the registry keys that the code under test opens and closes, and
// refuses access to one of them.
#pragma once

#include "tests/support/replaced_import.h"

#include <gtest/gtest.h>

#include <string>

class OpenKeys {
public:
    explicit OpenKeys(const std::string& denied = "") : denied_(denied) { current = this; }
    // Fails the test when keys are still open.
    ~OpenKeys() {
        EXPECT_EQ(open_, 0) << "registry keys left open";
        current = nullptr;
    }

private:
    static LONG WINAPI Open(HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) {
        if (current->denied_ == path)
            return ERROR_ACCESS_DENIED;
        const LONG result = current->opening_.Original()(root, path, options, access, key);
        current->open_ += result == ERROR_SUCCESS ? 1 : 0;
        return result;
    }
    static LONG WINAPI Close(HKEY key) {
        --current->open_;
        return current->closing_.Original()(key);
    }

    static inline OpenKeys* current = nullptr;
    std::string denied_;
    int open_ = 0;
    ReplacedImport<LONG WINAPI(HKEY, const char*, DWORD, REGSAM, HKEY*)> opening_{"RegOpenKeyExA",
                                                                                  Open};
    ReplacedImport<LONG WINAPI(HKEY)> closing_{"RegCloseKey", Close};
};
