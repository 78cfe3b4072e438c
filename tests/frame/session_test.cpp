#include "frame/session.h"

#include "frame/feature_state.h"
#include "frame/files.h"
#include "frame/versions.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"

using namespace setupactions;
using testing::ElementsAre;

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
