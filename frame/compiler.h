// What one compiler or the other needs specially. No other file of the library
// asks which compiler reads it, but guard.cpp, whose subject that is.
#pragma once

#if defined(__GNUC__)
// The installer calls on a stack aligned to 4 bytes; GCC's code counts on 16.
#define ACTION_STACK __attribute__((force_align_arg_pointer))
#define PRINTF_CHECKED(formatIndex, firstArgument)                                                 \
    __attribute__((format(gnu_printf, formatIndex, firstArgument)))
#else
#define ACTION_STACK
#define PRINTF_CHECKED(formatIndex, firstArgument)
#endif
