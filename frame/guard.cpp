#include "frame/guard.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <malloc.h>

#if defined(__GNUC__)
#include <csetjmp>
#include <intrin.h>
#endif

namespace setupactions {

namespace {

const DWORD IllegalInstruction = 0xC000001D;
const DWORD FailFast = 0xC0000409; // also what a smashed stack is reported as
const DWORD HeapCorruption = 0xC0000374;
const DWORD StackOverflow = 0xC00000FD;
const DWORD FirstError = 0xC0000000; // the codes below are notices and a debugger's

bool CatchesCppException(void (*body)(void*), void* context) {
    try {
        body(context);
        return false;
    } catch (...) {
        return true;
    }
}

} // namespace

bool IsCatchableFault(DWORD code) {
    static const DWORD fatal[] = {IllegalInstruction, FailFast, HeapCorruption};
    return code >= FirstError &&
           std::find(std::begin(fatal), std::end(fatal), code) == std::end(fatal);
}

#if defined(__GNUC__)

// GCC's catch does not see machine faults on 32-bit Windows. A record of our
// own on the thread's chain of exception handlers does: its handler jumps back
// to the guard. The C runtime's longjmp unwinds the records linked in between.
namespace {

const DWORD TerminateCode = 0xE0534150; // our own: a C++ exception nobody caught

struct GuardRecord {
    EXCEPTION_REGISTRATION_RECORD link; // first: the system hands back its address
    jmp_buf resume;
    volatile DWORD code;
};

ACTION_STACK EXCEPTION_DISPOSITION __cdecl OnFault(EXCEPTION_RECORD* fault, void* frame, CONTEXT*,
                                                   void*) {
    const DWORD unwinding = 0x6; // EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND
    if ((fault->ExceptionFlags & unwinding) != 0 || !IsCatchableFault(fault->ExceptionCode))
        return ExceptionContinueSearch;
    GuardRecord* record = static_cast<GuardRecord*>(frame);
    record->code = fault->ExceptionCode;
    longjmp(record->resume, 1);
}

// A C++ exception cannot unwind through frames of another compiler: it ends in
// terminate, from where a structured exception finds the guard.
[[noreturn]] void OnTerminate() {
    RaiseException(TerminateCode, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    std::abort();
}

const DWORD ChainOffset = 0; // fs:[0] is the head of the thread's handler chain

} // namespace

void RaiseUncaughtExceptions() { std::set_terminate(OnTerminate); }

__attribute__((noinline)) bool CallGuarded(void (*body)(void*), void* context) {
    GuardRecord record;
    record.code = 0;
    volatile bool completed = false;
    const std::terminate_handler outerTerminate = std::set_terminate(OnTerminate);
    const DWORD outerLink = __readfsdword(ChainOffset);
    // setjmp must come first: longjmp unwinds up to the chain as it is now.
    if (setjmp(record.resume) == 0) {
        record.link.Next = reinterpret_cast<EXCEPTION_REGISTRATION_RECORD*>(outerLink);
        record.link.Handler = reinterpret_cast<PEXCEPTION_ROUTINE>(OnFault);
        __writefsdword(ChainOffset, reinterpret_cast<DWORD>(&record.link));
        completed = !CatchesCppException(body, context);
    }
    __writefsdword(ChainOffset, outerLink);
    std::set_terminate(outerTerminate);
    if (record.code == StackOverflow)
        _resetstkoflw();
    return completed;
}

#else

// They are structured exceptions already.
void RaiseUncaughtExceptions() {}

bool CallGuarded(void (*body)(void*), void* context) {
    bool completed = false;
    DWORD code = 0;
    __try {
        completed = !CatchesCppException(body, context);
    } __except (IsCatchableFault(code = GetExceptionCode()) ? EXCEPTION_EXECUTE_HANDLER
                                                            : EXCEPTION_CONTINUE_SEARCH) {
        if (code == StackOverflow)
            _resetstkoflw();
    }
    return completed;
}

#endif

} // namespace setupactions
