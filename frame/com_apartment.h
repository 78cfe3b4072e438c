// COM on the calling thread.
#pragma once

#include "frame/windows_api.h"

#include <objbase.h>

namespace setupactions {

// COM is initialised for as long as the object lives, unless the thread had it
// in another way already, which then stays.
class ComApartment {
public:
    ComApartment() : result_(CoInitialize(nullptr)) {}
    ~ComApartment() {
        if (SUCCEEDED(result_))
            CoUninitialize();
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    // False when the thread has it in another way, or COM is out of order.
    bool Initialized() const { return SUCCEEDED(result_); }

private:
    HRESULT result_;
};

} // namespace setupactions
