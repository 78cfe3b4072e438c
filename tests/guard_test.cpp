#include "frame/guard.h"

#include "tests/support/session_test.h"

#include <gmock/gmock.h>

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

// Foreign code calls back: the exception must cross frames that are not ours.
void (*fault)();
int __cdecl FaultingComparison(const void*, const void*) {
    fault();
    return 0;
}

void FaultInForeignCode() {
    (void)lstrlenW(nullptr); // handled by the system itself: must not reach the guard
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
    int step = 0;
    Guarded(session, "Fine crashed", [&] { step = 1; });
    Guarded(session, "Throwing crashed.", [&] {
        const auto inner = [&] {
            step += 6;
            ReadNull();
        };
        GuardedWith(session, inner, [&] { return Format("Stepping crashed at %d", step); });
        Throw();
    });
    EXPECT_THAT(Log(), ElementsAre("Stepping crashed at 7", "Throwing crashed."));
}

TEST(Guard, FatalAndDebuggingCodesAreLeftAlone) {
    // Illegal instruction, fail-fast, heap corruption; breakpoint, debugger output.
    const DWORD codes[] = {0xC000001D, 0xC0000409, 0xC0000374, 0x80000003, 0x40010006};
    for (const DWORD code : codes)
        EXPECT_FALSE(IsCatchableFault(code)) << std::hex << code;
    EXPECT_TRUE(IsCatchableFault(0xE06D7363)) << "a C++ exception of another compiler";
}
