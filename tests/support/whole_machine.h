// Machines on which each action does its full work (tests/exports/scenarios.txt), and the
// delivered library running on them. Stand-ins replace everything outside the test:
// services, the web server's store, databases, programs, downloads, dialogs.
#pragma once

#include "tests/support/fake_odbc.h"
#include "tests/support/imported_calls.h"
#include "tests/support/services_test.h"
#include "tests/support/web_store_test.h"

#include <memory>
#include <set>

// The prefix of the method names of the web server's store.
const std::string StoreCall = "IMSAdminBase::";

struct ScenarioLine {
    std::string kind, name, value;
};
struct Scenario {
    std::string action;
    std::vector<ScenarioLine> lines;
};

// All scenarios, in the order of the file.
const std::vector<Scenario>& Scenarios();

// The calls that are never made to fail, each with a blank before and after it. The file
// also gives the reasons.
std::string Unfailing();

// The delivered library, whose calls the fixtures replace from then on.
struct LibraryUnderTest {
    LibraryUnderTest();
    ~LibraryUnderTest() { moduleUnderTest = nullptr; }
};

struct StandIns;

class WholeMachine : LibraryUnderTest, public ServicesTest, public WatchedWebStore {
protected:
    using Files = std::map<std::string, std::string>; // contents by path below Scratch()

    struct Outcome {
        std::map<std::string, int> calls;
        // Violations: a wrong result, an exception or fault that leaves the action,
        // something left open.
        std::vector<std::string> wrong;
        Files before, files; // before and after the run
    };

    WholeMachine();
    ~WholeMachine() override;
    void TearDown() override;

    // Sets up the scenario's machine.
    void Plant(const Scenario& scenario);

    // Runs the action on a fresh copy of it.
    Outcome Run(const ImportedCalls::Fails& fails);

    bool isHostile = false; // rows may have types that the package does not accept

private:
    // True when the last run made one of these calls or ended early.
    bool Changed(const std::string& names) const;
    void Note(const ImportedCall& call, const uintptr_t* arguments);
    // Every line of a kind, with its placeholders replaced.
    using Use = std::function<void(const std::string& name, const std::string& value)>;
    void Each(const std::string& kind, const Use& use);
    Files FilesMade();
    Files FilesNow();
    Files WithoutLoose(Files files);
    void MakeSession();
    void MakeRegistry();
    void MakeFiles();

    const Scenario* scenario_ = nullptr;
    bool completed_ = false;
    // From the last run: the calls that change something, and the initial properties.
    std::set<std::string> made_;
    std::map<std::string, std::string> properties_;
    std::unique_ptr<ImportedCalls> imports_;
    FakeOdbc odbc_;
    std::unique_ptr<StandIns> standIns_;
};
