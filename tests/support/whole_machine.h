// Machines on which each action does its full work (tests/exports/scenarios.txt), and the
// delivered library on them. What would leave the test is stood in for: services,
// the web server's store, databases, programs, downloads, dialogs.
#pragma once

#include "tests/support/fake_odbc.h"
#include "tests/support/imported_calls.h"
#include "tests/support/services_test.h"
#include "tests/support/web_store_test.h"

#include <memory>
#include <set>

// Before the names of the web server's store's methods.
const std::string StoreCall = "IMSAdminBase::";

struct ScenarioLine {
    std::string kind, name, value;
};
struct Scenario {
    std::string action;
    std::vector<ScenarioLine> lines;
};

// All of them, in the file's order.
const std::vector<Scenario>& Scenarios();

// The calls that are never made to fail, with a blank before and behind each; why,
// stands there too.
std::string Unfailing();

struct StandIns;

class WholeMachine : public ServicesTest, public WatchedWebStore {
protected:
    using Files = std::map<std::string, std::string>; // contents by path below Scratch()

    struct Outcome {
        std::map<std::string, int> calls;
        // What no action may do: a wrong result, an exception or fault that leaves
        // it, something left open.
        std::vector<std::string> wrong;
        Files before, files; // as they were and are then
    };

    WholeMachine();
    ~WholeMachine() override;
    void TearDown() override;

    // Makes the scenario's machine.
    void Plant(const Scenario& scenario);

    // Runs the action on it, anew each time.
    Outcome Run(const ImportedCalls::Fails& fails);

    bool isHostile = false; // rows may be of a kind that the package does not take

private:
    // Has the last run made one of these calls, or did it end early?
    bool Changed(const std::string& names) const;
    void Note(const ImportedCall& call, const uintptr_t* arguments);
    // Every line of a kind, its marks replaced.
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
    // Of the last run: calls that change something, and properties as they were.
    std::set<std::string> made_;
    std::map<std::string, std::string> properties_;
    std::unique_ptr<ImportedCalls> imports_;
    FakeOdbc odbc_;
    std::unique_ptr<StandIns> standIns_;
};
