// Complete machines for the tests of detection: registry values, files and properties go
// in, the properties that an action changed come out.
#pragma once

#include "tests/support/session_test.h"

#include <map>

using Properties = std::map<std::string, std::string>;

struct RegistryValue {
    std::string key;
    std::string name;
    DWORD type;
    std::string bytes;
    HKEY root = HKEY_LOCAL_MACHINE;
};

RegistryValue KeyAlone(const std::string& key, HKEY root = HKEY_LOCAL_MACHINE);
RegistryValue Text(const std::string& key, const std::string& name, const std::string& text);
RegistryValue Number(const std::string& key, const std::string& name, DWORD number);
// A list, terminated as the system does it.
RegistryValue List(const std::string& key, const std::string& name,
                   const std::vector<std::string>& texts);

struct Machine {
    std::vector<RegistryValue> registry = {};
    // Empty files, as paths below Here(); their folders are created. Files in
    // Here("path\\") are on the search path.
    std::vector<std::string> files = {};
    Properties properties = {};
    std::string deniedKey = {}; // refuses access
};

// A machine and what an action does on it: the properties that it changes, its lines, its
// result. A failure shows the name.
struct Case {
    Case(const char* name, const Machine& machine, const Properties& changed,
         const std::vector<std::string>& log, UINT result = ERROR_SUCCESS)
        : name(name), machine(machine), changed(changed), log(log), result(result) {}

    const char* name;
    Machine machine;
    Properties changed;
    std::vector<std::string> log;
    UINT result;
};

class MachineTest : public SessionTest {
protected:
    using Action = UINT(__stdcall*)(MSIHANDLE);

    // Sets up the machine, with nothing else in HKEY_LOCAL_MACHINE and
    // HKEY_CURRENT_USER, runs the action as a user who may only read both, and removes
    // the machine again. Result: the properties that the action changed, "" for one that
    // it removed. The session's properties are restored; Log() has the action's lines.
    // Fails the test when the action leaves a registry key open.
    Properties RunOn(const Machine& machine, Action action, UINT expectedResult = ERROR_SUCCESS);

    // Runs the action on each machine; fails the test where the action does anything else.
    void RunOnEach(const std::vector<Case>& cases, Action action);

    // A path in this test's folder.
    std::string Here(const std::string& path = "") { return Scratch() + path; }
};
