#include "exports/action.h"

#include "frame/guard.h"
#include "tests/support/session_test.h"

#include <stdexcept>

using namespace setupactions;

TEST_F(SessionTest, WhatIsThrownEndsAtTheBoundaryOfAnAction) {
    const struct {
        const char* name;
        UINT (*body)(MSIHANDLE);
        UINT result;
        const char* line;
    } cases[] = {
        {"returns", [](MSIHANDLE) -> UINT { return 6; }, 6, ""},
        {"lacks memory", [](MSIHANDLE) -> UINT { throw std::bad_alloc(); }, 1603,
         "Name: out of memory"},
        {"throws a number", [](MSIHANDLE) -> UINT { throw 5; }, 1603, "Name: failed (5)"},
        {"an impossible position",
         [](MSIHANDLE handle) -> UINT { return std::string().at(handle); }, 1603,
         "Name: failed (-2147024809)"},
        {"throws anything else", [](MSIHANDLE) -> UINT { throw std::runtime_error(""); }, 1603,
         "Name: failed (0)"},
    };
    for (const auto& row : cases) {
        ClearMessages();
        EXPECT_EQ(RunAction(session, "Name", row.body), row.result) << row.name;
        EXPECT_EQ(Log().empty() ? "" : Log().front(), row.line) << row.name;
    }
    const auto body = [](MSIHANDLE) -> UINT {
        RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
        return ERROR_SUCCESS;
    };
    EXPECT_FALSE(RunGuarded([&] { RunAction(session, "Name", body); })) << "a fault goes on";
    EXPECT_EQ(RunAction(session, "Name", cases[0].body), 6u) << "and the next action is whole";
}
