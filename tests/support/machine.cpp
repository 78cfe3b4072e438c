#include "tests/support/machine.h"

#include "frame/install_registry.h"
#include "frame/msi_database.h"
#include "tests/support/counted_keys.h"
#include "tests/support/private_registry.h"

#include <algorithm>
#include <cstdlib>
#include <set>

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

// The entries of `after` that `before` does not have so, and "" for those gone.
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

// Files with their folders; what it made is gone with it.
class PlantedFiles {
public:
    PlantedFiles(const std::string& folder, const std::vector<std::string>& files) {
        for (const std::string& file : files) {
            for (size_t at = file.find('\\'); at != std::string::npos; at = file.find('\\', at + 1))
                if (CreateDirectoryA((folder + file.substr(0, at)).c_str(), nullptr))
                    folders_.push_back(folder + file.substr(0, at));
            const HANDLE made = CreateFileA((folder + file).c_str(), GENERIC_WRITE, 0, nullptr,
                                            CREATE_ALWAYS, 0, nullptr);
            EXPECT_NE(made, INVALID_HANDLE_VALUE) << file;
            CloseHandle(made);
            files_.push_back(folder + file);
        }
    }
    ~PlantedFiles() {
        for (const std::string& file : files_)
            DeleteFileA(file.c_str());
        for (auto folder = folders_.rbegin(); folder != folders_.rend(); ++folder)
            RemoveDirectoryA(folder->c_str());
    }
    PlantedFiles(const PlantedFiles&) = delete;
    PlantedFiles& operator=(const PlantedFiles&) = delete;

private:
    std::vector<std::string> files_;
    std::vector<std::string> folders_;
};

// Puts a folder first on the search path.
class ExtendedPath {
public:
    explicit ExtendedPath(const std::string& folder) : before_(std::getenv("PATH")) {
        SetEnvironmentVariableA("PATH", (folder + ";" + before_).c_str());
    }
    ~ExtendedPath() { SetEnvironmentVariableA("PATH", before_.c_str()); }
    ExtendedPath(const ExtendedPath&) = delete;
    ExtendedPath& operator=(const ExtendedPath&) = delete;

private:
    std::string before_;
};

void Plant(const RegistryValue& value) {
    const RegistryKey key = PrivateRegistry::Key(value.root, value.key);
    if (value.type != REG_NONE)
        RegSetValueExA(key.Get(), value.name.c_str(), 0, value.type,
                       reinterpret_cast<const BYTE*>(value.bytes.data()),
                       static_cast<DWORD>(value.bytes.size()));
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
    const PlantedFiles files(Here(), machine.files);
    const ExtendedPath path(Here("path"));
    {
        const PrivateRegistry registry;
        for (const RegistryValue& value : machine.registry)
            Plant(value);
        const CountedKeys counted(machine.deniedKey);
        ClearMessages();
        EXPECT_EQ(action(session), expectedResult);
    }
    const Properties after = AllProperties(session);
    SetAll(session, Changes(after, original));
    return Changes(before, after);
}
