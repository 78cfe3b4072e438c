// The sample's security plug-in. Its user group is only a registry key, so that the sample
// leaves the machine's real groups alone.
#include "frame/handles.h"

#include <cstring>
#include <string>

using namespace setupactions;

namespace {

const char GroupsKey[] = "SOFTWARE\\Setupactions Sample Groups";
const char GroupKey[] = "SOFTWARE\\Setupactions Sample Groups\\Kestrel NT Users";

} // namespace

#define PLUG_IN_EXPORT extern "C" UINT __stdcall

PLUG_IN_EXPORT CreateNTUserGroup(DWORD session);
PLUG_IN_EXPORT DeleteNTUserGroup(DWORD session);
PLUG_IN_EXPORT FindKestrelNTUserGroup(char* name, DWORD size);

PLUG_IN_EXPORT CreateNTUserGroup(DWORD) {
    RegistryKey group;
    return static_cast<UINT>(RegCreateKeyA(HKEY_LOCAL_MACHINE, GroupKey, group.Out()));
}

PLUG_IN_EXPORT DeleteNTUserGroup(DWORD) {
    const LONG error = RegDeleteKeyA(HKEY_LOCAL_MACHINE, GroupKey);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, GroupsKey);
    return static_cast<UINT>(error);
}

PLUG_IN_EXPORT FindKestrelNTUserGroup(char* name, DWORD size) {
    RegistryKey key;
    const LONG error = RegOpenKeyExA(HKEY_LOCAL_MACHINE, GroupKey, 0, KEY_READ, key.Out());
    if (error != ERROR_SUCCESS)
        return static_cast<UINT>(error);
    const std::string group = std::strrchr(GroupKey, '\\') + 1;
    if (group.size() >= size)
        return ERROR_MORE_DATA;
    name[group.copy(name, size)] = '\0';
    return ERROR_SUCCESS;
}
