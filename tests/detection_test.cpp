#include "tests/support/machine.h"

#include "detect/browser.h"
#include "tests/support/replaced_import.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::Contains;
using testing::Not;

namespace {

const char W3svcEnum[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Enum";
const char W3svcParameters[] = "SYSTEM\\CurrentControlSet\\Services\\W3SVC\\Parameters";
const char Explorer[] = "SOFTWARE\\Microsoft\\Internet Explorer";

struct Case {
    const char* name;
    Machine machine;
    Properties found;
};

} // namespace

class DetectionTest : public MachineTest {
protected:
    // The properties that the action changed, without the one that every
    // machine of the tests gets.
    Properties Detect(const Machine& machine) {
        Properties changed = RunOn(machine, DetectWantedSoftware);
        EXPECT_EQ(changed["OSSupportSxS"], "1");
        changed.erase("OSSupportSxS");
        return changed;
    }

    void ExpectAll(const std::vector<Case>& cases) {
        for (const Case& row : cases)
            EXPECT_EQ(Detect(row.machine), row.found) << row.name;
    }
};

TEST_F(DetectionTest, TheWebServerIsThereFromMajorVersionFour) {
    ExpectAll({
        {"nothing", {}, {}},
        {"both keys and version 4",
         {{KeyAlone(W3svcEnum), Number(W3svcParameters, "MajorVersion", 4)}},
         {{"HASIIS4", "1"}, {"HASWEBSERVER", "1"}}},
    });
}
