// What one compiler or the other needs specially. No other file of the library
// asks which compiler reads it, but faults.cpp, whose subject that is.
#pragma once

#if defined(__GNUC__)
// The installer calls on a stack aligned to 4 bytes; GCC's code counts on 16.
#define ACTION_STACK __attribute__((force_align_arg_pointer))
#if defined(__clang__)
#define PRINTF_DIALECT printf
#else
#define PRINTF_DIALECT gnu_printf
#endif
#define PRINTF_CHECKED(formatIndex, firstArgument)                                                 \
    __attribute__((format(PRINTF_DIALECT, formatIndex, firstArgument)))
#else
#define ACTION_STACK
#define PRINTF_CHECKED(formatIndex, firstArgument)
#endif
