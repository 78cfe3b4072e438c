// Takes the place of parts of GCC's own library, whose form costs a quarter of the
// DLL: a terminate handler that prints the exception's name, errors that own their
// texts, and formatting of its own instead of the system's. Linked before that library.
#include "frame/errors.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <typeinfo>

// NOLINTBEGIN(bugprone-reserved-identifier): the names are that library's.
namespace __gnu_cxx {

void __verbose_terminate_handler() { std::abort(); }

} // namespace __gnu_cxx

// What the library's templates call where they cannot go on: all of them, since one
// that were missing would bring back the library's file of them.
namespace std {

void __throw_bad_exception() { throw bad_exception(); }
void __throw_bad_alloc() { throw bad_alloc(); }
void __throw_bad_array_new_length() { throw bad_array_new_length(); }
void __throw_bad_cast() { throw bad_cast(); }
void __throw_bad_typeid() { throw bad_typeid(); }
void __throw_logic_error(const char* text) { throw setupactions::InvalidArgument(text); }
void __throw_domain_error(const char* text) { throw setupactions::InvalidArgument(text); }
void __throw_invalid_argument(const char* text) { throw setupactions::InvalidArgument(text); }
void __throw_length_error(const char* text) { throw setupactions::InvalidArgument(text); }
void __throw_out_of_range(const char* text) { throw setupactions::InvalidArgument(text); }
void __throw_out_of_range_fmt(const char* format, ...) {
    throw setupactions::InvalidArgument(format);
}
void __throw_runtime_error(const char*) { throw exception(); }
void __throw_range_error(const char*) { throw exception(); }
void __throw_overflow_error(const char*) { throw exception(); }
void __throw_underflow_error(const char*) { throw exception(); }

} // namespace std

// What snprintf and vsnprintf call. The system's function neither ends a text that it
// cuts nor tells how long it would have been: that is found by trying.
extern "C" int __mingw_vsnprintf(char* text, size_t size, const char* format, va_list arguments) {
    const size_t longest = 1 << 30;
    for (size_t room = size;; room = room < 256 ? 512 : room * 2) {
        char* const at = room == size ? text : static_cast<char*>(std::malloc(room));
        if (at == nullptr && room > 0)
            return -1;
        va_list again;
        va_copy(again, arguments);
        const int length = room == 0 ? -1 : _vsnprintf(at, room, format, again);
        va_end(again);
        const bool fits = length >= 0 && static_cast<size_t>(length) < room;
        if (room != size)
            std::free(at);
        else if (!fits && size > 0)
            text[size - 1] = '\0';
        if (fits)
            return length;
        if (room > longest)
            return -1;
    }
}
// NOLINTEND(bugprone-reserved-identifier)
