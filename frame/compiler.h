// Compiler differences. No other file of the library depends on the compiler, except
// faults.cpp, which is about them, action.cpp, which catches the standard library's
// errors, and implicit_strings.h.
#pragma once

#if defined(__GNUC__)
// The installer's calls align the stack to 4 bytes only; GCC's code relies on 16.
#define ACTION_STACK __attribute__((force_align_arg_pointer))
#if defined(__clang__)
#define PRINTF_DIALECT printf
#else
#define PRINTF_DIALECT ms_printf // see small_runtime.cpp
#endif
#define PRINTF_CHECKED(formatIndex, firstArgument)                                                 \
    __attribute__((format(PRINTF_DIALECT, formatIndex, firstArgument)))
#else
#define ACTION_STACK
#define PRINTF_CHECKED(formatIndex, firstArgument)
#endif
