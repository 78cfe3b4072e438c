#include "tests/support/machine.h"
#include "tests/support/test_text.h"

TEST_F(MachineTest, EveryListedShortcutPointsAtTheInstallationFolder) {
    SetProperty("En", Scratch());
    SetProperty("INSTALLDIR", "C:\\Program Files\\Suite\\");
    EXPECT_EQ(UpdateSampleReportsURLs(session), ERROR_SUCCESS) << "without a list";
    WriteFileText(Here("SampleReportsURL.ini"), "[Reports]\r\n0=a.url\r\n1=missing.url\r\n"
                                                "2=none.url\r\n3=b.url\r\n5=after.url\r\n");
    const std::string start = "[Other]\r\nURL=x\r\n[InternetShortcut]\r\nURL=";
    const std::string base = "file:///C:/Program Files/Suite/";
    const std::string longUrl = std::string(4000, 'u') + "\r\n";
    const std::tuple<const char*, std::string, std::string> files[] = {
        {"a.url", start + "Samples/a.rpt\r\nIcon=1\r\n",
         start + base + base + "Samples/a.rpt\r\nIcon=1\r\n"},
        {"none.url", "[InternetShortcut]\r\n", "[InternetShortcut]\r\n"},
        {"b.url", start + longUrl, start + base + base + longUrl},
        {"after.url", start + "c\r\n", start + "c\r\n"}, // after the list's end
    };
    for (const auto& [name, before, after] : files)
        WriteFileText(Here(name), before);
    for (int run = 0; run < 2; ++run)
        EXPECT_EQ(UpdateSampleReportsURLs(session), ERROR_SUCCESS);
    for (const auto& [name, before, after] : files)
        EXPECT_EQ(FileText(Here(name)), after) << name;
    EXPECT_FALSE(IsThere(Here("missing.url")));
    EXPECT_TRUE(messages.empty()) << "it works without a word";
}
