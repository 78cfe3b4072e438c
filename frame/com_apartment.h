// COM on the calling thread.
#pragma once

#include "frame/windows_api.h"

#include <objbase.h>

namespace setupactions {

// Keeps COM initialised for as long as the object lives. A thread that already uses
// another concurrency model keeps that one.
class ComApartment {
public:
    ComApartment() : result_(CoInitialize(nullptr)) {}
    ~ComApartment() {
        if (SUCCEEDED(result_))
            CoUninitialize();
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    // False when the thread uses another concurrency model or COM fails.
    bool Initialized() const { return SUCCEEDED(result_); }

private:
    HRESULT result_;
};

} // namespace setupactions
