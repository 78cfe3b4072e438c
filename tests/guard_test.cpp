#include "frame/guard.h"

#include "tests/support/session_test.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <stdexcept>
#include <vector>

using namespace setupactions;
using testing::ElementsAre;

namespace {

void Throw() { throw std::runtime_error("thrown on purpose"); }

void ReadNull() {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1; // cppcheck-suppress nullPointer
}

void DivideByZero() {
    volatile int zero = 0;
    volatile int result = 1000 / zero; // cppcheck-suppress zerodiv
    (void)result;
}

// Foreign code calls back: the exception must cross frames that are not ours.
template <void (*Fault)()>
int __cdecl FaultingComparison(const void*, const void*) {
    Fault();
    return 0;
}
template <void (*Fault)()>
void InsideForeignCode() {
    int numbers[] = {2, 1};
    std::qsort(numbers, 2, sizeof numbers[0], FaultingComparison<Fault>);
}

void FaultInForeignCode() {
    // The system's own copy routine reads an address that is not there.
    (void)lstrlenW(nullptr); // handled by the system itself: must not reach the guard
    std::vector<char> text(16);
    WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<const wchar_t*>(16), 4, text.data(), 16,
                        nullptr, nullptr);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winfinite-recursion"
int OverflowStack(int depth) {
    volatile char frame[4096];
    frame[depth % 4096] = static_cast<char>(depth);
    return OverflowStack(depth + 1) + frame[0];
}
#pragma GCC diagnostic pop

struct Fault {
    const char* name;
    void (*raise)();
};
const Fault Faults[] = {
    {"C++ exception", Throw},
    {"access violation", ReadNull},
    {"division by zero", DivideByZero},
    {"C++ exception through foreign frames", InsideForeignCode<Throw>},
    {"access violation below foreign frames", InsideForeignCode<ReadNull>},
    {"access violation in foreign code", FaultInForeignCode},
};

DWORD HandlerChainHead() {
    DWORD head;
    __asm__ volatile("movl %%fs:0, %0" : "=r"(head));
    return head;
}

} // namespace

class GuardTest : public SessionTest {};

TEST_F(GuardTest, EveryFaultEndsTheBodyAThousandTimesInARow) {
    const DWORD chain = HandlerChainHead();
    for (const Fault& fault : Faults) {
        for (int i = 0; i < 1000; ++i) {
            bool wentOn = false;
            const bool completed = RunGuarded([&] {
                fault.raise();
                wentOn = true;
            });
            ASSERT_FALSE(completed) << fault.name << " no. " << i;
            ASSERT_FALSE(wentOn) << fault.name;
            ASSERT_EQ(HandlerChainHead(), chain) << fault.name;
        }
    }
}

TEST_F(GuardTest, TheLineIsLoggedOnlyWhenTheBodyIsEnded) {
    int runs = 0;
    Guarded(session, "Fine crashed", [&] { ++runs; });
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(messages.empty());

    Guarded(session, "Throwing crashed.", [] { Throw(); });
    Guarded(session, "Faulting crashed", [] { ReadNull(); });
    int step = 0;
    GuardedWith(
        session,
        [&] {
            step = 7;
            ReadNull();
        },
        [&] { return Format("Stepping crashed at %d", step); });
    EXPECT_THAT(Log(),
                ElementsAre("Throwing crashed.", "Faulting crashed", "Stepping crashed at 7"));
}

TEST_F(GuardTest, GuardsNest) {
    std::vector<int> order;
    Guarded(session, "outer", [&] {
        Guarded(session, "inner", [&] {
            order.push_back(1);
            ReadNull();
        });
        order.push_back(2);
        Throw();
    });
    EXPECT_THAT(order, ElementsAre(1, 2));
    EXPECT_THAT(Log(), ElementsAre("inner", "outer"));
}

TEST_F(GuardTest, AStackOverflowIsSurvivedMoreThanOnce) {
    for (int i = 0; i < 3; ++i)
        Guarded(session, "overflow", [] { OverflowStack(1); });
    EXPECT_THAT(Log(), ElementsAre("overflow", "overflow", "overflow"));
}

TEST_F(GuardTest, FatalAndDebuggingCodesAreLeftAlone) {
    const struct {
        DWORD code;
        bool catchable;
    } cases[] = {
        {0xC0000005, true},  // access violation
        {0xC00000FD, true},  // stack overflow
        {0xE06D7363, true},  // a C++ exception of another compiler
        {0xC000001D, false}, // illegal instruction
        {0xC0000409, false}, // fail-fast, smashed stack
        {0xC0000374, false}, // heap corruption
        {0x80000003, false}, // breakpoint
        {0x40010006, false}, // debugger output
    };
    for (const auto& row : cases)
        EXPECT_EQ(IsCatchableFault(row.code), row.catchable) << std::hex << row.code;
}
