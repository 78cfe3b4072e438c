// Makes installer calls on views fail for as long as an object lives.
#pragma once

#include "tests/support/replaced_import.h"

#include "frame/windows_api.h"

// No view executes.
class FailingExecute {
    static UINT WINAPI Execute(MSIHANDLE, MSIHANDLE) { return ERROR_FUNCTION_FAILED; }

    ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE)> execute_{"MsiViewExecute", Execute};
};

// Every fetch after the first so many fails.
class FailingFetch {
public:
    explicit FailingFetch(int goodFetches) : goodFetches_(goodFetches) { current_ = this; }

private:
    static UINT WINAPI Fetch(MSIHANDLE view, MSIHANDLE* record) {
        return current_->goodFetches_-- > 0 ? current_->fetch_.Original()(view, record)
                                            : ERROR_FUNCTION_FAILED;
    }

    static inline FailingFetch* current_ = nullptr;
    int goodFetches_;
    ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE*)> fetch_{"MsiViewFetch", Fetch};
};
