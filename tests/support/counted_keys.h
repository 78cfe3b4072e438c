// Counts the registry keys opened and closed during the object's life and fails the test
// when the counts differ. One key can be made to refuse access, or every key to refuse
// some rights.
#pragma once

#include "tests/support/replaced_import.h"

#include "frame/windows_api.h"

#include <gtest/gtest.h>

#include <string>

// The rights to a key that reading does not need.
const REGSAM WriteRights = KEY_ALL_ACCESS & ~KEY_READ;

class CountedKeys {
public:
    explicit CountedKeys(const std::string& denied = "", REGSAM refusedRights = 0)
        : denied_(denied), refusedRights_(refusedRights) {
        current_ = this;
    }
    ~CountedKeys() { EXPECT_EQ(count_, 0) << "registry keys left open"; }

    // The number of attempts to open a key so far.
    int Tried() const { return tried_; }
    // The options of all attempts to open a key for changing its access list.
    DWORD ListOptions() const { return listOptions_; }

private:
    static LONG WINAPI Open(HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) {
        ++current_->tried_;
        if ((access & WRITE_DAC) != 0)
            current_->listOptions_ &= options;
        if (current_->denied_ == path || (access & current_->refusedRights_) != 0)
            return ERROR_ACCESS_DENIED;
        const LONG result = current_->open_.Original()(root, path, options, access, key);
        current_->count_ += result == ERROR_SUCCESS ? 1 : 0;
        return result;
    }
    static LONG WINAPI Close(HKEY key) {
        --current_->count_;
        return current_->close_.Original()(key);
    }

    static inline CountedKeys* current_ = nullptr;
    std::string denied_;
    REGSAM refusedRights_;
    DWORD listOptions_ = ~0u;
    int tried_ = 0;
    int count_ = 0;
    ReplacedImport<LONG WINAPI(HKEY, const char*, DWORD, REGSAM, HKEY*)> open_{"RegOpenKeyExA",
                                                                               Open};
    ReplacedImport<LONG WINAPI(HKEY)> close_{"RegCloseKey", Close};
};
