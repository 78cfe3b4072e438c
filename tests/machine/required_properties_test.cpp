#include "tests/support/machine.h"

TEST_F(SessionTest, AServerNameIsTrimmedAndValidWithoutInnerBlanks) {
    const struct {
        const char *name, *given, *written, *before, *after;
    } cases[] = {
        {"white space around it", "\t\r\n\v\f cms01\f\v\n\r\t", "cms01", "", "1"},
        {"inner tab", " cms\t01", "cms\t01", "", ""},
        {"inner carriage return", "cms\r01", "cms\r01", "", "1"}, // does not break a name
        {"only white space", " \t ", "", "", ""},
        {"inner blank, never cleared", "a b", "a b", "1", "1"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        SetProperty("VALIDCOMPUTERNAME", row.before);
        SetProperty("NAMESERVER", row.given);
        EXPECT_EQ(ValidateNAMESERVER(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("NAMESERVER"), row.written);
        EXPECT_EQ(Property("VALIDCOMPUTERNAME"), row.after);
    }
}

TEST_F(MachineTest, ASilentExpansionNeedsItsProperties) {
    const auto given = [](const char* level, const char* mode, const char* aps, const char* dsn) {
        Machine machine;
        machine.properties = {{"UILevel", level},
                              {"INSTALLMODE", mode},
                              {"EXPANDAPS", aps},
                              {"DATABASEDSN", dsn},
                              {"DATABASEUID", dsn}};
        return machine;
    };
    const std::string dsn = "Ensuring property DATABASEDSN exists";
    const std::string uid = "Ensuring property DATABASEUID exists";
    const std::string server = "Ensuring property NAMESERVER exists";
    MakeTable("Error", {"Error SHORT NOT NULL", "Message"}, {"2604, '[2] is missing'"});
    const UINT incomplete = ERROR_INVALID_COMMAND_LINE;
    RunOnEach({Case("no expansion", given("2", "NEW", "1", ""), {}, {}),
               Case("not silent", given("5", "EXPAND", "1", ""), {}, {}),
               Case("all given", given("3", "EXPAND", "1", "given"), {}, {dsn, uid}),
               Case("no server's name", given("4", "EXPAND", "", ""), {}, {server}, incomplete),
               Case("two missing", given("2", "Expand", "1", ""), {}, {dsn, uid}, incomplete)},
              DetectWantedProperties);
    ASSERT_EQ(messages.size(), 4u); // each of the two has its own
    EXPECT_EQ(messages[1].type, INSTALLMESSAGE_ERROR);
    EXPECT_THAT(messages[1].text, testing::HasSubstr("DATABASEDSN is missing"));
}
