#include "tests/support/machine.h"

using testing::ElementsAre;

TEST_F(MachineTest, AspNetsLibraryAndToolBecomePropertiesWhereTheyAre) {
    const std::string key = "SOFTWARE\\Microsoft\\ASP.NET\\2.0", tool = Here("aspnet_regiis.exe");
    const std::string line = "SetASPDotNetDllPath: ";
    const auto run = [&](const std::string& library, const std::string& folder) {
        Properties found =
            RunOn({{Text(key, "DllFullPath", library), Text(key, "Path", folder)},
                   {"aspnet_regiis.exe"},
                   {{"ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92", "2.0"}}},
                  SetASPDotNetDllPath);
        return found["ASPDOTNET_DLLPATH"] + "|" + found["ASPDOTNET_REGIISPATH"];
    };
    EXPECT_EQ(run("C:\\isapi.dll", Here()), "C:\\isapi.dll|" + tool);
    EXPECT_THAT(Log(),
                ElementsAre(line + "Reading ASP.NET config from reg key '" + key + "'",
                            line + "ISAPI DLL is 'C:\\isapi.dll', IIS Reg is '" + tool + "'"));
    SetCurrentDirectoryA(Here().c_str());
    EXPECT_EQ(run("two.dll", ""), "two.dll|") << "no folder is not the current one";
    SetCurrentDirectoryA("C:\\");
    SetProperty("ASPNET", "1.1"); // goes before the searched one
    EXPECT_EQ(run("two.dll", Here()), "|");
    EXPECT_THAT(Log(), ElementsAre(line + "Unable to open registry key "
                                          "'SOFTWARE\\Microsoft\\ASP.NET\\1.1'"));
}
