// What the library throws besides plain error numbers: an invalid argument.
#pragma once

#include "frame/windows_api.h"

#include <stdexcept>

namespace setupactions {

// A text operation got a position or length outside the text.
class InvalidArgument : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
    HRESULT Code() const { return E_INVALIDARG; }
};

} // namespace setupactions
