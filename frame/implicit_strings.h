// Read before every source of the library. GCC's own library holds all functions of its
// texts, of which the linker takes all or none, since their unwinding tables refer to
// them all: instead, those that we call are compiled with our sources.
#pragma once

#if defined(__GNUC__)
#include <bits/c++config.h>
#undef _GLIBCXX_EXTERN_TEMPLATE
#define _GLIBCXX_EXTERN_TEMPLATE (-1) // NOLINT(bugprone-reserved-identifier): its own
#endif
