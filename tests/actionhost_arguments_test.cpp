#include "tools/actionhost/arguments.h"

#include <gmock/gmock.h>

using namespace actionhost;
using testing::HasSubstr;

TEST(ActionhostArguments, ReadsPackageActionPropertiesAndOptions) {
    const Arguments run = ParseArguments({"a.msi", "GetPid", "A=1", "--data", "x;y=z",
                                          "B=", "--cost", "--dll", "other.dll", "C=D=E"});
    EXPECT_EQ(run.package, "a.msi");
    EXPECT_EQ(run.action, "GetPid");
    const std::vector<std::pair<std::string, std::string>> properties = {
        {"A", "1"}, {"B", ""}, {"C", "D=E"}};
    EXPECT_EQ(run.properties, properties);
    EXPECT_TRUE(run.deferred && run.cost);
    EXPECT_EQ(run.data, "x;y=z");
    EXPECT_EQ(run.dll, "other.dll");

    EXPECT_TRUE(ParseArguments({"a.msi", "X", "--data", ""}).deferred) << "also with no data";
    EXPECT_TRUE(ParseArguments({"--list"}).list);
    EXPECT_TRUE(ParseArguments({"a.msi", "--check"}).check);
}

TEST(ActionhostArguments, SaysWhatIsWrong) {
    const struct {
        std::vector<std::string> words;
        const char* complaint;
    } cases[] = {
        {{}, "no package"},
        {{"a.msi"}, "no action"},
        {{"a.msi", "X", "NOVALUE"}, "NOVALUE"},
        {{"a.msi", "X", "=value"}, "=value"},
        {{"a.msi", "X", "--data"}, "--data needs"},
        {{"a.msi", "X", "--dll"}, "--dll needs"},
        {{"a.msi", "X", "--speed"}, "--speed"},
        {{"--list", "a.msi"}, "--list takes no"},
        {{"--check"}, "no package"},
        {{"--check", "a.msi", "X"}, "--check takes"},
    };
    for (const auto& row : cases) {
        try {
            ParseArguments(row.words);
            ADD_FAILURE() << row.complaint;
        } catch (const UsageError& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.complaint));
        }
    }
}
