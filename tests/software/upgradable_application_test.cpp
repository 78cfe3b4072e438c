#include "tests/support/machine.h"
#include "tests/support/two_byte_characters.h"

TEST_F(MachineTest, AnUpgradeIsFoundByTheNamesThatABarFollows) {
    const TwoByteCharacters twoBytes;
    const auto machine = [&](const char* file, const char* list) {
        return Machine{{}, {file}, {{"UPGRADEAPPDIR", Here("app\\")}, {"UPGRADEAPPNAME", list}}};
    };
    const Properties found = {{"FOUNDUPGRADE", "1"}}, none = {{"FOUNDUPGRADE", "0"}};
    RunOnEach({Case("second name", machine("app\\x\\a.exe", "b.exe|x\\a.exe|"), found, {}),
               Case("another file", machine("app\\c.exe", "a.exe|b.exe|"), none, {}),
               Case("no bar after it", machine("app\\b.exe", "a.exe|b.exe"), none, {}),
               Case("no bar but half a character", machine("app\\b.exe", "\x83|b.exe|"), none, {}),
               Case("legacy designer", machine("app\\qdw32.exe", "QDW"), found, {}),
               Case("its last file", machine("app\\hqdent.msi", "qdw"), none, {}),
               Case("a file called qdw", machine("app\\qdw.exe", "qdw|"), none, {})},
              FindUpgradableApp);
}
