#include "tests/support/machine.h"

TEST_F(MachineTest, TheRuntimesLibraryIsTheDefaultVersions) {
    const std::string javaKey = "SOFTWARE\\JavaSoft\\Java Runtime Environment";
    const std::string versionKey = javaKey + "\\1.4", library = "C:\\jre\\jvm.dll";
    const RegistryValue version = Text(javaKey, "CurrentVersion", "1.4");
    const std::string noKey = "CInstallRegistry::OpenKey(", failed = ") failed.";
    const std::string noText = "CInstallRegistry::GetString(RuntimeLib) failed.";
    RunOnEach({Case("no key", {}, {}, {noKey + javaKey + failed}),
               Case("no version", {{KeyAlone(javaKey)}}, {}, {noText}),
               Case("no key of the version", {{version}}, {}, {noKey + "1.4" + failed}),
               Case("no library", {{version, KeyAlone(versionKey)}}, {}, {noText}),
               Case("whole", {{version, Text(versionKey, "RuntimeLib", library)}},
                    {{"JRE_RUNTIMELIB", library}},
                    {"myMsiSetDirectory: Setting Directory JRE_RUNTIMELIB = " + library})},
              GetDefaultJVMRuntimeLib);
}
