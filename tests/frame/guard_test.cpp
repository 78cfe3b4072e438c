#include "frame/guard.h"

#include "tests/support/session_test.h"

#include <cstdlib>
#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;

namespace {

void Throw() { throw std::runtime_error("thrown on purpose"); }

void ReadNull() {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1; // cppcheck-suppress nullPointer
}

// Third-party code calls back: the exception must cross frames that are not ours.
void (*fault)();
int __cdecl FaultingComparison(const void*, const void*) {
    fault();
    return 0;
}

void FaultInForeignCode() {
    (void)lstrlenW(nullptr); // handled by the system itself, so it must not reach the guard
    char text[16];
    WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<const wchar_t*>(16), 4, text, 16, nullptr,
                        nullptr);
}

DWORD HandlerChainHead() {
    DWORD head;
    __asm__ volatile("movl %%fs:0, %0" : "=r"(head));
    return head;
}

} // namespace

TEST(Guard, EveryFaultEndsTheBodyAThousandTimesInARow) {
    const DWORD chain = HandlerChainHead();
    int numbers[] = {2, 1};
    for (const auto raise : {Throw, ReadNull, FaultInForeignCode})
        for (int i = 0; i < 2000; ++i) {
            fault = raise;
            bool wentOn = false;
            ASSERT_FALSE(RunGuarded([&] {
                if (i % 2 == 0)
                    fault();
                std::qsort(numbers, 2, sizeof numbers[0], FaultingComparison);
                wentOn = true;
            }));
            ASSERT_FALSE(wentOn);
            ASSERT_EQ(HandlerChainHead(), chain);
        }
}

TEST_F(SessionTest, AnEndedBodyIsLoggedAndTheGuardAroundItGoesOn) {
    int step = 1;
    Guarded(session, "Throwing crashed.", [&] {
        const bool completed = RunGuarded([&] {
            step += 6;
            ReadNull();
        });
        EXPECT_FALSE(completed);
        EXPECT_EQ(step, 7);
        Throw();
    });
    EXPECT_THAT(Log(), ElementsAre("Throwing crashed."));
}

#pragma GCC diagnostic ignored "-Winfinite-recursion"
static int OverflowStack(int depth) {
    volatile char frame[4096];
    frame[depth % 4096] = static_cast<char>(depth);
    return OverflowStack(depth + 1) + frame[0];
}

TEST(Guard, AStackOverflowIsSurvivedMoreThanOnce) {
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(RunGuarded([] { OverflowStack(1); }));
}

static LONG WINAPI GoOn(EXCEPTION_POINTERS* exception) {
    if (exception->ExceptionRecord->ExceptionCode == EXCEPTION_BREAKPOINT)
        ++exception->ContextRecord->Eip; // the system points it at the breakpoint itself
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(Guard, NoticesAndFatalCodesAreLeftAlone) {
    const LPTOP_LEVEL_EXCEPTION_FILTER outer = SetUnhandledExceptionFilter(GoOn);
    const auto endsBody = [](DWORD code) {
        return !RunGuarded([=] { RaiseException(code, 0, 0, nullptr); });
    };
    // A debugger's control-C and output, a thread's name, guard page, breakpoint,
    // single step; illegal instruction, heap corruption, fail-fast.
    for (const DWORD code : {0x40010005u, 0x40010006u, 0x406D1388u, 0x80000001u, 0x80000003u,
                             0x80000004u, 0xC000001Du, 0xC0000374u, 0xC0000409u})
        EXPECT_FALSE(endsBody(code)) << std::hex << code;
    // A remote call's, another language's, a misaligned access; its own C++ exception.
    for (const DWORD code : {0x6BAu, 0x0EEDFADEu, 0x80000002u, 0xE06D7363u})
        EXPECT_TRUE(endsBody(code)) << std::hex << code;
    SetUnhandledExceptionFilter(outer);
}
