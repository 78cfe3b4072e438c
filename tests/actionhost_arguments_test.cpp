#include "tools/actionhost/arguments.h"

#include <gmock/gmock.h>

using namespace actionhost;

TEST(ActionhostArguments, ReadsPackageActionPropertiesAndOptions) {
    const Arguments run = ParseArguments(
        {"a.msi", "GetPid", "B=", "--data", "", "--cost", "--dll", "x.dll", "C=D=E"});
    EXPECT_EQ(run.package + run.action + run.dll, "a.msiGetPidx.dll");
    EXPECT_TRUE(run.deferred && run.cost) << "deferred also with no data";
    const std::vector<std::pair<std::string, std::string>> properties = {{"B", ""}, {"C", "D=E"}};
    EXPECT_EQ(run.properties, properties);
}

TEST(ActionhostArguments, SaysWhatIsWrong) {
    const struct {
        std::vector<std::string> words;
        const char* complaint;
    } cases[] = {
        {{}, "no package"},
        {{"a.msi"}, "no action"},
        {{"a.msi", "X", "=value"}, "=value"},
        {{"a.msi", "X", "--data"}, "--data needs"},
        {{"a.msi", "X", "--speed"}, "--speed"},
        {{"--list", "a.msi"}, "--list takes no"},
        {{"--check", "a.msi", "X"}, "--check takes"},
    };
    for (const auto& row : cases) {
        try {
            ParseArguments(row.words);
            ADD_FAILURE() << row.complaint;
        } catch (const UsageError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(row.complaint));
        }
    }
}
