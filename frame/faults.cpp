#include "frame/faults.h"

#include "frame/compiler.h"

#include <malloc.h>

#if defined(__GNUC__)
#include <csetjmp>
#include <cstdlib>
#include <exception>
#include <intrin.h>
#endif

namespace setupactions {

namespace {

struct CodeRange {
    DWORD first;
    DWORD last;
};

// Every other code is caught: whatever raises one (a remote call, a driver, another
// language's runtime) is free to choose its number.
const CodeRange NeverCaught[] = {
    // Notifications, for a debugger or the system to handle.
    {0x40010000, 0x4001FFFF}, // debugger communication, including its output
    {0x406D1388, 0x406D1388}, // a runtime announces the name of a thread
    {0x80000001, 0x80000001}, // guard page
    {0x80000003, 0x80000003}, // breakpoint
    {0x80000004, 0x80000004}, // single step
    // After these nothing in the process can be trusted, so it must end.
    {0xC000001D, 0xC000001D}, // illegal instruction
    {0xC0000374, 0xC0000374}, // heap corruption
    {0xC0000409, 0xC0000409}, // fail-fast; also reported for a corrupted stack
};

const DWORD StackOverflow = 0xC00000FD;

bool IsCatchable(DWORD code) {
    for (const CodeRange& range : NeverCaught)
        if (range.first <= code && code <= range.last)
            return false;
    return true;
}

bool CatchesCppException(void (*body)(void*), void* context) {
    try {
        body(context);
        return false;
    } catch (...) {
        return true;
    }
}

} // namespace

#if defined(__GNUC__)

// GCC's catch does not see machine faults on 32-bit Windows, but a record of our own in
// the thread's chain of exception handlers does: its handler jumps back to the guard.
// The C runtime's longjmp unwinds the records linked in between.
namespace {

const DWORD TerminateCode = 0xE0534150; // our own: an uncaught C++ exception

struct GuardRecord {
    EXCEPTION_REGISTRATION_RECORD link; // must come first: the system passes its address back
    jmp_buf resume;
    volatile DWORD code;
};

ACTION_STACK EXCEPTION_DISPOSITION __cdecl OnFault(EXCEPTION_RECORD* fault, void* frame, CONTEXT*,
                                                   void*) {
    const DWORD unwinding = 0x6; // EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND
    if ((fault->ExceptionFlags & unwinding) != 0 || !IsCatchable(fault->ExceptionCode))
        return ExceptionContinueSearch;
    GuardRecord* record = static_cast<GuardRecord*>(frame);
    record->code = fault->ExceptionCode;
    longjmp(record->resume, 1);
}

// A C++ exception cannot unwind through another compiler's frames: it ends in
// terminate, from where a structured exception reaches the guard.
[[noreturn]] void OnTerminate() {
    RaiseException(TerminateCode, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    std::abort();
}

const DWORD ChainOffset = 0; // fs:[0], the head of the thread's handler chain

} // namespace

void RaiseUncaughtExceptions() { std::set_terminate(OnTerminate); }

__attribute__((noinline)) bool CallGuarded(void (*body)(void*), void* context) {
    GuardRecord record;
    record.code = 0;
    volatile bool completed = false;
    const std::terminate_handler outerTerminate = std::set_terminate(OnTerminate);
    const DWORD outerLink = __readfsdword(ChainOffset);
    // setjmp must come first: longjmp unwinds to the chain as it is at this point.
    if (setjmp(record.resume) == 0) {
        record.link.Next = reinterpret_cast<EXCEPTION_REGISTRATION_RECORD*>(outerLink);
        // A C function, whatever type the header gives it.
        record.link.Handler =
            reinterpret_cast<PEXCEPTION_ROUTINE>(reinterpret_cast<void*>(OnFault));
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
    } __except (IsCatchable(code = GetExceptionCode()) ? EXCEPTION_EXECUTE_HANDLER
                                                       : EXCEPTION_CONTINUE_SEARCH) {
        if (code == StackOverflow)
            _resetstkoflw();
    }
    return completed;
}

#endif

} // namespace setupactions
