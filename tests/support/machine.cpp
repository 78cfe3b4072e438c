#include "tests/support/machine.h"

#include "frame/install_registry.h"
#include "frame/msi_database.h"
#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"
#include "tests/support/test_text.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

using namespace setupactions;

namespace {

Properties AllProperties(MSIHANDLE session) {
    Properties properties;
    CMsiDatabase database(session);
    CMsiHelper& view = database.CreateView("SELECT * FROM `_Property`");
    view.Execute();
    while (view.Fetch())
        properties[view.GetField(1)] = view.GetField(2);
    return properties;
}

// The entries of `after` that are new or different, and "" for those that are gone.
Properties Changes(const Properties& before, const Properties& after) {
    Properties changes;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                        std::inserter(changes, changes.end()));
    for (const auto& property : before)
        if (after.count(property.first) == 0)
            changes[property.first] = "";
    return changes;
}

void SetAll(MSIHANDLE session, const Properties& properties) {
    for (const auto& property : properties)
        MsiSetPropertyA(session, property.first.c_str(), property.second.c_str());
}

void Plant(const RegistryValue& value) {
    PrivateRegistry::Key(value.root, value.key);
    if (value.type != REG_NONE)
        SHSetValueA(value.root, value.key.c_str(), value.name.c_str(), value.type,
                    value.bytes.data(), static_cast<DWORD>(value.bytes.size()));
    EXPECT_TRUE(CInstallRegistry().TryOpenKey(value.root, value.key)) << value.key;
}

} // namespace

RegistryValue KeyAlone(const std::string& key, HKEY root) { return {key, "", REG_NONE, "", root}; }

RegistryValue Text(const std::string& key, const std::string& name, const std::string& text) {
    return {key, name, REG_SZ, text + '\0'};
}

RegistryValue Number(const std::string& key, const std::string& name, DWORD number) {
    return {key, name, REG_DWORD,
            std::string(reinterpret_cast<const char*>(&number), sizeof number)};
}

RegistryValue List(const std::string& key, const std::string& name,
                   const std::vector<std::string>& texts) {
    std::string bytes;
    for (const std::string& text : texts)
        bytes += text + '\0';
    return {key, name, REG_MULTI_SZ, bytes + '\0'};
}

Properties MachineTest::RunOn(const Machine& machine, Action action, UINT expectedResult) {
    const Properties original = AllProperties(session);
    SetAll(session, machine.properties);
    const Properties before = AllProperties(session);
    for (const std::string& file : machine.files)
        WriteFileInFolders(Here(file), "");
    const std::string searchPath = std::getenv("PATH");
    SetEnvironmentVariableA("PATH", (Here("path;") + searchPath).c_str());
    {
        const PrivateRegistry registry;
        for (const RegistryValue& value : machine.registry)
            Plant(value);
        const CountedKeys counted(machine.deniedKey, WriteRights);
        ClearMessages();
        EXPECT_EQ(action(session), expectedResult);
    }
    SetEnvironmentVariableA("PATH", searchPath.c_str());
    std::error_code inUse; // ignored: what stays is removed with the whole folder
    for (const std::string& file : machine.files)
        std::filesystem::remove_all(Here(file.substr(0, file.find('\\'))), inUse);
    const Properties after = AllProperties(session);
    SetAll(session, Changes(after, original));
    return Changes(before, after);
}

void MachineTest::RunOnEach(const std::vector<Case>& cases, Action action) {
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(RunOn(row.machine, action, row.result), row.changed);
        EXPECT_EQ(Log(), row.log);
    }
}
