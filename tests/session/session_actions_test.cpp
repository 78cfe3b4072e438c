#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

namespace {

std::vector<std::string> broadcasts;
LRESULT WINAPI KeepBroadcast(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags,
                             UINT timeOut, DWORD_PTR*) {
    broadcasts.push_back(
        setupactions::Format("%d %x %u %s %u %u", window == HWND_BROADCAST, message, wParam,
                             reinterpret_cast<const char*>(lParam), flags, timeOut));
    return 0;
}

} // namespace

TEST_F(SessionTest, SuppressRebootTakesBothRequestsBackEvenWhenRefused) {
    for (const MSIRUNMODE mode : {MSIRUNMODE_REBOOTATEND, MSIRUNMODE_REBOOTNOW}) {
        MsiSetMode(session, mode, TRUE);
        EXPECT_EQ(SuppressReboot(session), ERROR_SUCCESS);
        EXPECT_FALSE(MsiGetMode(session, mode));
    }
    EXPECT_EQ(SuppressReboot(0), ERROR_SUCCESS);
}

TEST_F(SessionTest, CommitWindowsSettingsBroadcastsOnceAndOnlyInASession) {
    const ReplacedImport<decltype(KeepBroadcast)> send("SendMessageTimeoutA", KeepBroadcast);
    EXPECT_EQ(CommitWindowsSettings(0), ERROR_SUCCESS);
    EXPECT_EQ(CommitWindowsSettings(session), ERROR_SUCCESS);
    EXPECT_THAT(broadcasts, testing::ElementsAre("1 1a 0 Environment 2 5000"));
}

TEST_F(SessionTest, GetPidSetsTheIdentifierOfThisProcess) {
    EXPECT_EQ(GetPid(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("MSIEXECPID"), std::to_string(GetCurrentProcessId()));
}
