// What the library throws besides plain error numbers: an invalid argument.
#pragma once

#include <exception>

namespace setupactions {

// A text operation got a position or length outside the text. GCC's library throws it, too,
// where small_runtime.cpp is linked.
class InvalidArgument : public std::exception {
public:
    // The text is not copied.
    explicit InvalidArgument(const char* text) : text_(text) {}
    const char* what() const noexcept override { return text_; }

private:
    const char* text_;
};

} // namespace setupactions
