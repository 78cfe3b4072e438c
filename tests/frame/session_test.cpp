#include "frame/session.h"
#include "frame/versions.h"

#include "exports/action.h"
#include "frame/deferred_data.h"
#include "frame/errors.h"
#include "frame/feature_state.h"
#include "frame/files.h"
#include "frame/guard.h"
#include "frame/programs.h"
#include "tests/support/replaced_import.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"

#include <cstdlib>
#include <stdexcept>

using namespace setupactions;
using testing::ElementsAre;

namespace {

std::string ValueOf(const CDeferredData& data, const std::string& name) {
    std::string value = "old";
    return data.Lookup(name, value) ? value : "(none)" + value;
}

const std::string AddAction = "INSERT INTO `CustomAction` (`Action`, `Type`, `Target`) VALUES ";

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

TEST_F(SessionTest, PropertiesAndRecordsAreReadWhole) {
    const std::string longValue(5000, 'x');
    std::string value = "old";
    EXPECT_EQ(GetPropertyString(session, "NOSUCHPROPERTY", value), ERROR_SUCCESS);
    EXPECT_EQ(value, "");
    SetProperty("LONG", longValue);
    EXPECT_EQ(GetPropertyString(session, "LONG", value), ERROR_SUCCESS);
    EXPECT_EQ(value, longValue);
    const InstallerHandle record(MsiCreateRecord(2));
    MsiRecordSetStringA(record.Get(), 0, "[1] at [LONG]");
    MsiRecordSetInteger(record.Get(), 1, -17);
    EXPECT_EQ(GetRecordString(record.Get(), 1, value), ERROR_SUCCESS);
    EXPECT_EQ(value, "-17");
    EXPECT_EQ(FormatRecordString(session, record.Get(), value), ERROR_SUCCESS);
    EXPECT_EQ(value, "-17 at " + longValue);
}

TEST_F(SessionTest, LinesGoOutWholeAndAsTheirType) {
    const std::string longText(3000, 'z');
    LogMessage(session, longText);
    SendRecord(session, INSTALLMESSAGE_INFO, "Feature '[1]' to: '[2]'", {"A", "B"});
    ShowActionData(session, "Central Server");
    EXPECT_THAT(Log(), ElementsAre(longText, "Feature 'A' to: 'B'"));
    EXPECT_NE(messages[0].text, longText) << "date and time stand before the text";
    EXPECT_EQ(messages[2].type, INSTALLMESSAGE_ACTIONDATA);
    EXPECT_THAT(messages[2].text, testing::HasSubstr("1: Central Server"));
}

TEST_F(SessionTest, RecordsHaveTheirNumberOfFieldsHoweverFewAreFilled) {
    SentLines sent;
    GetProcAddressLogged(session, GetModuleHandleA("kernel32.dll"), "NoSuchProcedure");
    CopyDirectory(session, "Q:\\none", "Q:\\copy");
    SetFeatureStateChecked(session, "Complete", INSTALLSTATE_LOCAL);
    CheckFileVersion(session, "Q:\\none", "1.0");
    EXPECT_THAT(sent.fieldCounts, ElementsAre(4, 4, 3, 5));
}

TEST_F(SessionTest, OnlyTheFullUserInterfaceIsNotSilent) {
    const std::pair<const char*, bool> levels[] = {{"", true},        {"4", true},  {"-1", true},
                                                   {"rubbish", true}, {"5", false}, {"6", false}};
    for (const auto& level : levels) {
        SetProperty("UILevel", level.first);
        EXPECT_EQ(IsSilentInstall(session), level.second) << level.first;
    }
}

TEST_F(SessionTest, PairsGoFromTheImmediateToTheDeferredAction) {
    Sql(AddAction + "('PublishAction.1234', 1025, 'Publish')");
    Cost();
    SetProperty("SERVER", "alpha");
    SetProperty("OPTION", "x=y");
    std::string readme;
    {
        CDeferredData data(session, "PublishAction.1234");
        EXPECT_EQ(data.AddProperty("SERVER"), ERROR_SUCCESS);
        EXPECT_EQ(data.AddProperty("NOSUCHPROPERTY"), ERROR_SUCCESS);
        EXPECT_EQ(data.AddFileKey("readme"), ERROR_SUCCESS);
        readme = ValueOf(data, "readme");
        EXPECT_THAT(readme, testing::EndsWith("\\Scratch\\readme.txt"));
    }
    {
        CDeferredData more(session, "Publish"); // the same action, by its entry point
        EXPECT_EQ(ValueOf(more, "SERVER"), "alpha");
        more.AddProperty("OPTION");
    }
    const std::string stored = Property("PublishAction.1234");
    EXPECT_EQ(stored, "SERVER=alpha;readme=" + readme + ";OPTION=x=y");

    MakeDeferred(stored);
    EXPECT_EQ(ValueOf(CDeferredData(session, "PublishAction.1234"), "readme"), readme);
    EXPECT_EQ(ValueOf(CDeferredData(session, "Publish"), "server"), "(none)") << "case-sensitive";
    EXPECT_EQ(Property("PublishAction.1234"), stored) << "a deferred action stores nothing";
}

TEST_F(SessionTest, ThePropertyIsNamedAfterTheActionOrTheNameGiven) {
    Sql(AddAction + "('Other', 1025, 'Publish')");
    Sql(AddAction + "('Publish', 1025, 'SomethingElse')");
    for (const char* name : {"Publish", "Unscheduled", "It's"})
        CDeferredData(session, name).AddProperty("ProductName");
    for (const char* name : {"Publish", "Unscheduled", "It's"})
        EXPECT_EQ(Property(name), "ProductName=Scratch");
    EXPECT_EQ(Property("Other"), "") << "action names go before entry points";
    // The quote ends the query's text early: both queries fail and say so.
    const std::string query = "SELECT `Action` FROM `CustomAction` WHERE ";
    EXPECT_THAT(Log(), ElementsAre("failed to execute" + query + "`Action` = 'It's'",
                                   "failed to execute" + query + "`Target` = 'It's'"));
}

TEST_F(SessionTest, OddTextsAreReadByTheirRules) {
    const struct {
        const char *text, *name, *value;
    } cases[] = {
        {"A=1;A=2", "A", "2"}, {"A=;B=2", "A", "B=2"},     {"==A=1", "A", "1"},
        {"A==1", "A", "=1"},   {" A = 1 ;", " A ", " 1 "}, {"A=1;B=", "B", ""},
        {"A=;;", "A", ""},
    };
    for (const auto& row : cases) {
        MakeDeferred(row.text);
        EXPECT_EQ(ValueOf(CDeferredData(session, "Action"), row.name), row.value) << row.text;
    }
    for (const char* text : {"A=1;B", "A", "A=;B=2;C"}) {
        MakeDeferred(text);
        EXPECT_THROW(CDeferredData(session, "Action"), InvalidArgument) << text;
    }
}

TEST_F(SessionTest, WhatIsThrownEndsAtTheBoundaryOfAnAction) {
    const struct {
        UINT (*body)(MSIHANDLE);
        UINT result;
        const char* line;
    } cases[] = {
        {[](MSIHANDLE) -> UINT { return 6; }, 6, ""},
        {[](MSIHANDLE) -> UINT { throw std::bad_alloc(); }, 1603, "Name: out of memory"},
        {[](MSIHANDLE) -> UINT { throw 5; }, 1603, "Name: failed (5)"},
        {[](MSIHANDLE handle) -> UINT { return std::string().at(handle); }, 1603,
         "Name: failed (-2147024809)"},
        {[](MSIHANDLE) -> UINT { throw std::runtime_error(""); }, 1603, "Name: failed (0)"},
    };
    for (const auto& row : cases) {
        ClearMessages();
        EXPECT_EQ(RunAction(session, "Name", row.body), row.result);
        EXPECT_EQ(Log().empty() ? "" : Log().front(), row.line);
    }
    const auto body = [](MSIHANDLE) -> UINT {
        ReadNull();
        return ERROR_SUCCESS;
    };
    EXPECT_FALSE(RunGuarded([&] { RunAction(session, "Name", body); })) << "a fault goes on";
    EXPECT_EQ(RunAction(session, "Name", cases[0].body), 6u) << "and the next action is whole";
}

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
        ++exception->ContextRecord->Eip; // the system points it at the instruction itself
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
