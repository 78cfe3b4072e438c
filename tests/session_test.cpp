#include "frame/session.h"

#include "tests/support/replaced_import.h"
#include "tests/support/session_test.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(SessionTest, PropertiesAreReadWhole) {
    std::string value = "old";
    EXPECT_EQ(GetPropertyString(session, "NOSUCHPROPERTY", value), ERROR_SUCCESS);
    EXPECT_EQ(value, "");

    const std::string longValue(5000, 'x');
    SetProperty("LONG", longValue);
    EXPECT_EQ(GetPropertyString(session, "LONG", value), ERROR_SUCCESS);
    EXPECT_EQ(value, longValue);

    EXPECT_EQ(GetPropertyString(0, "LONG", value), ERROR_INVALID_HANDLE);
    EXPECT_EQ(value, "");
}

TEST_F(SessionTest, RecordFieldsAreReadWhole) {
    const InstallerHandle record(MsiCreateRecord(2));
    const std::string longValue(3000, 'y');
    MsiRecordSetStringA(record.Get(), 1, longValue.c_str());
    MsiRecordSetInteger(record.Get(), 2, -17);

    std::string value;
    EXPECT_EQ(GetRecordString(record.Get(), 1, value), ERROR_SUCCESS);
    EXPECT_EQ(value, longValue);
    EXPECT_EQ(GetRecordString(record.Get(), 2, value), ERROR_SUCCESS);
    EXPECT_EQ(value, "-17");
    EXPECT_EQ(GetRecordString(0, 1, value), ERROR_INVALID_HANDLE);
    EXPECT_EQ(value, "");
}

TEST_F(SessionTest, RecordsAreFormattedWithFieldsAndProperties) {
    SetProperty("PLACE", std::string(2000, 'p'));
    const InstallerHandle record(MsiCreateRecord(1));
    MsiRecordSetStringA(record.Get(), 0, "[1] at [PLACE]");
    MsiRecordSetStringA(record.Get(), 1, "x");
    std::string text;
    EXPECT_EQ(FormatRecordString(session, record.Get(), text), ERROR_SUCCESS);
    EXPECT_EQ(text, "x at " + std::string(2000, 'p'));
}

namespace {

int formatCalls;
UINT WINAPI FormatsToNothing(MSIHANDLE, MSIHANDLE, char*, DWORD* size) {
    ++formatCalls;
    *size = 0;
    return ERROR_SUCCESS;
}

} // namespace

TEST_F(SessionTest, ARecordThatFormatsToNothingIsAskedForOnce) {
    const ReplacedImport<UINT WINAPI(MSIHANDLE, MSIHANDLE, char*, DWORD*)> format(
        "MsiFormatRecordA", FormatsToNothing);
    formatCalls = 0;
    std::string text = "old";
    EXPECT_EQ(FormatRecordString(session, 0, text), ERROR_SUCCESS);
    EXPECT_EQ(text, "");
    EXPECT_EQ(formatCalls, 1);
}

TEST_F(SessionTest, LogLinesKeepTheirWholeText) {
    const std::string longText(3000, 'z');
    LogMessage(session, longText);
    LogMessage(session, Format("%s has %d of %lu", "feature", -3, 7ul));
    LogMessage(session, "");
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_THAT(Log(), ElementsAre(longText, "feature has -3 of 7", ""));
    EXPECT_NE(messages[0].text, longText) << "date and time stand before the text";
    EXPECT_EQ(messages[0].type, INSTALLMESSAGE_INFO);
}

TEST_F(SessionTest, RecordsAndActionDataGoOutAsTheirType) {
    SendRecord(session, INSTALLMESSAGE_INFO, "Feature '[1]' to: '[2]'", {"A", "B"});
    ShowActionData(session, "Central Server");
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].text, "Feature 'A' to: 'B'");
    EXPECT_EQ(messages[1].type, INSTALLMESSAGE_ACTIONDATA);
    EXPECT_THAT(messages[1].text, HasSubstr("Central Server"));
}

TEST_F(SessionTest, OnlyTheFullUserInterfaceIsNotSilent) {
    const struct {
        const char* level;
        bool silent;
    } cases[] = {{"", true},   {"2", true},       {"3", true},   {"4", true}, {"5", false},
                 {"6", false}, {"rubbish", true}, {"5x", false}, {"-1", true}};
    for (const auto& row : cases) {
        SetProperty("UILevel", row.level);
        EXPECT_EQ(IsSilentInstall(session), row.silent) << row.level;
    }
}

TEST_F(SessionTest, UnknownErrorCodesReadAsUnsignedNumbers) {
    EXPECT_EQ(ErrorText(0xEFFFFFF1), "4026531825");
    EXPECT_THAT(ErrorText(ERROR_FILE_NOT_FOUND), testing::EndsWith("\r\n"));

    const InstallerHandle record(MsiCreateRecord(1));
    EXPECT_EQ(SetErrorField(record.Get(), 1, 0xEFFFFFF1), ERROR_SUCCESS);
    std::string value;
    GetRecordString(record.Get(), 1, value);
    EXPECT_EQ(value, "4026531825");
    EXPECT_EQ(SetErrorField(record.Get(), 9, 5), ERROR_INVALID_FIELD);
}

TEST_F(SessionTest, FailureLinesNameActionCallAndErrorEachTime) {
    LogFailure failure(session, "SomeAction");
    SetLastError(0xEFFFFFF1);
    failure("FirstCall");
    SetLastError(0xEFFFFFF2);
    failure("SecondCall");
    EXPECT_THAT(Log(), ElementsAre("SomeAction: FirstCall failed. Error: 4026531825",
                                   "SomeAction: SecondCall failed. Error: 4026531826"));
}

TEST_F(SessionTest, AMissingProcedureIsLoggedWithItsLibrary) {
    const HMODULE kernel = GetModuleHandleA("kernel32.dll");
    EXPECT_EQ(GetProcAddressLogged(session, kernel, "Sleep"), GetProcAddress(kernel, "Sleep"));
    EXPECT_TRUE(messages.empty());

    EXPECT_EQ(GetProcAddressLogged(session, kernel, "NoSuchProcedure"), nullptr);
    ASSERT_EQ(Log().size(), 1u);
    EXPECT_THAT(Log()[0], testing::StartsWith("GetProcAddress(Library="));
    EXPECT_THAT(Log()[0],
                HasSubstr("kernel32.dll,ProcName=NoSuchProcedure) failed. GetLastError: " +
                          ErrorText(ERROR_PROC_NOT_FOUND)));
}

// The actions that need nothing but the session.

namespace {

struct ModeCall {
    MSIRUNMODE mode;
    BOOL state;
};
std::vector<ModeCall> modeCalls;
UINT WINAPI RefuseMode(MSIHANDLE, MSIRUNMODE mode, BOOL state) {
    modeCalls.push_back({mode, state});
    return ERROR_ACCESS_DENIED;
}

struct Broadcast {
    HWND window;
    UINT message;
    WPARAM wParam;
    std::string text;
    UINT flags;
    UINT timeOut;
};
std::vector<Broadcast> broadcasts;
LRESULT WINAPI RecordBroadcast(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags,
                               UINT timeOut, DWORD_PTR*) {
    broadcasts.push_back(
        {window, message, wParam, reinterpret_cast<const char*>(lParam), flags, timeOut});
    return 0;
}

} // namespace

TEST_F(SessionTest, SuppressRebootTakesBothRequestsBackEvenWhenRefused) {
    modeCalls.clear();
    {
        const ReplacedImport<UINT WINAPI(MSIHANDLE, MSIRUNMODE, BOOL)> setMode("MsiSetMode",
                                                                               RefuseMode);
        EXPECT_EQ(SuppressReboot(session), ERROR_SUCCESS);
    }
    ASSERT_EQ(modeCalls.size(), 2u);
    EXPECT_EQ(modeCalls[0].mode, MSIRUNMODE_REBOOTATEND);
    EXPECT_EQ(modeCalls[1].mode, MSIRUNMODE_REBOOTNOW);
    EXPECT_FALSE(modeCalls[0].state || modeCalls[1].state);

    MsiSetMode(session, MSIRUNMODE_REBOOTATEND, TRUE);
    ASSERT_TRUE(MsiGetMode(session, MSIRUNMODE_REBOOTATEND));
    SuppressReboot(session);
    EXPECT_FALSE(MsiGetMode(session, MSIRUNMODE_REBOOTATEND));
}

TEST_F(SessionTest, CommitWindowsSettingsBroadcastsOnceAndOnlyInASession) {
    const ReplacedImport<LRESULT WINAPI(HWND, UINT, WPARAM, LPARAM, UINT, UINT, DWORD_PTR*)> send(
        "SendMessageTimeoutA", RecordBroadcast);
    broadcasts.clear();
    EXPECT_EQ(CommitWindowsSettings(0), ERROR_SUCCESS);
    EXPECT_TRUE(broadcasts.empty());

    EXPECT_EQ(CommitWindowsSettings(session), ERROR_SUCCESS);
    ASSERT_EQ(broadcasts.size(), 1u);
    EXPECT_EQ(broadcasts[0].window, HWND_BROADCAST);
    EXPECT_EQ(broadcasts[0].message, static_cast<UINT>(WM_SETTINGCHANGE));
    EXPECT_EQ(broadcasts[0].wParam, 0u);
    EXPECT_EQ(broadcasts[0].text, "Environment");
    EXPECT_EQ(broadcasts[0].flags, static_cast<UINT>(SMTO_ABORTIFHUNG));
    EXPECT_EQ(broadcasts[0].timeOut, 5000u);
}

TEST_F(SessionTest, GetPidSetsTheIdentifierOfThisProcess) {
    EXPECT_EQ(GetPid(session), ERROR_SUCCESS);
    EXPECT_EQ(Property("MSIEXECPID"), std::to_string(GetCurrentProcessId()));
    EXPECT_EQ(GetPid(0), ERROR_SUCCESS) << "whatever setting the property answers";
}
