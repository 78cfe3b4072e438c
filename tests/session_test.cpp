#include "frame/session.h"

#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;

namespace {

std::vector<std::string> broadcasts;
LRESULT WINAPI KeepBroadcast(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags,
                             UINT timeOut, DWORD_PTR*) {
    broadcasts.push_back(Format("%p %x %u %s %u %u", window, message, wParam,
                                reinterpret_cast<const char*>(lParam), flags, timeOut));
    return 0;
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

TEST_F(SessionTest, OnlyTheFullUserInterfaceIsNotSilent) {
    const std::pair<const char*, bool> levels[] = {{"", true},        {"4", true},  {"-1", true},
                                                   {"rubbish", true}, {"5", false}, {"6", false}};
    for (const auto& level : levels) {
        SetProperty("UILevel", level.first);
        EXPECT_EQ(IsSilentInstall(session), level.second) << level.first;
    }
}

TEST_F(SessionTest, FailureLinesNameActionCallAndErrorEachTime) {
    LogFailure failure(session, "SomeAction");
    SetLastError(0xEFFFFFF1); // the system has no text for it
    failure("FirstCall");
    SetLastError(ERROR_FILE_NOT_FOUND);
    failure("SecondCall");
    EXPECT_THAT(Log(), ElementsAre("SomeAction: FirstCall failed. Error: 4026531825",
                                   "SomeAction: SecondCall failed. Error: " +
                                       ErrorText(ERROR_FILE_NOT_FOUND)));
}

TEST_F(SessionTest, SuppressRebootTakesBothRequestsBackEvenWhenRefused) {
    MsiSetMode(session, MSIRUNMODE_REBOOTATEND, TRUE);
    MsiSetMode(session, MSIRUNMODE_REBOOTNOW, TRUE);
    EXPECT_EQ(SuppressReboot(session), ERROR_SUCCESS);
    for (const MSIRUNMODE mode : {MSIRUNMODE_REBOOTATEND, MSIRUNMODE_REBOOTNOW})
        EXPECT_FALSE(MsiGetMode(session, mode));
    EXPECT_EQ(SuppressReboot(0), ERROR_SUCCESS);
}

TEST_F(SessionTest, CommitWindowsSettingsBroadcastsOnceAndOnlyInASession) {
    const ReplacedImport<decltype(KeepBroadcast)> send("SendMessageTimeoutA", KeepBroadcast);
    EXPECT_EQ(CommitWindowsSettings(0), ERROR_SUCCESS);
    EXPECT_EQ(CommitWindowsSettings(session), ERROR_SUCCESS);
    EXPECT_THAT(broadcasts, ElementsAre("0000ffff 1a 0 Environment 2 5000"));
}

TEST_F(SessionTest, GetPidSetsTheIdentifierOfThisProcess) {
    EXPECT_EQ(GetPid(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("MSIEXECPID"), std::to_string(GetCurrentProcessId()));
}
