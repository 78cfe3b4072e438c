// Makes installer calls on views and records fail for as long as an object lives.
#pragma once

#include "tests/support/replaced_import.h"

#include "frame/windows_api.h"

#include <algorithm>
#include <string>
#include <vector>

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

// Records with one of these texts in field 0 are not formatted.
class FailingFormat {
public:
    explicit FailingFormat(const std::vector<std::string>& texts) : texts_(texts) {
        current_ = this;
    }

private:
    static UINT WINAPI Format(MSIHANDLE session, MSIHANDLE record, char* buffer, DWORD* size) {
        char text[64] = "";
        DWORD length = sizeof text;
        MsiRecordGetStringA(record, 0, text, &length);
        const auto& texts = current_->texts_;
        return std::find(texts.begin(), texts.end(), text) != texts.end()
                   ? ERROR_FUNCTION_FAILED
                   : current_->format_.Original()(session, record, buffer, size);
    }

    static inline FailingFormat* current_ = nullptr;
    std::vector<std::string> texts_;
    ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE, char*, DWORD*)> format_{"MsiFormatRecordA",
                                                                             Format};
};
