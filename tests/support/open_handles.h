// Watches the kernel handles that the code under test opens and closes. The
// test's replaced opening calls report what they open.
#pragma once

#include "tests/support/replaced_import.h"

#include <gtest/gtest.h>

#include <set>

class OpenHandles {
public:
    OpenHandles() : close_("CloseHandle", Close) { current = this; }
    // Fails the test when handles are still open.
    ~OpenHandles() {
        EXPECT_EQ(open_.size(), 0u) << "handles left open";
        current = nullptr;
    }

    static void Opened(HANDLE handle) { current->open_.insert(handle); }
    const std::multiset<HANDLE>& All() const { return open_; }

private:
    static BOOL WINAPI Close(HANDLE handle) {
        const auto found = current->open_.find(handle);
        if (found == current->open_.end())
            ADD_FAILURE() << "closed a handle that is not open: " << handle;
        else
            current->open_.erase(found);
        return current->close_.Original()(handle);
    }

    static inline OpenHandles* current = nullptr;
    std::multiset<HANDLE> open_;
    ReplacedImport<BOOL WINAPI(HANDLE)> close_;
};
