// Access lists of registry keys: planting them, and seeing which one a key has.
#pragma once

#include "frame/registry_security.h"
#include "tests/support/private_registry.h"

#include <gtest/gtest.h>
#include <sddl.h>

// Gives the key, which is made when it is not there, an access list in the
// system's notation; null: a null list.
inline void SetList(HKEY root, const std::string& path, const char* list) {
    // The owner may always change the list, also one that denies everything else.
    const setupactions::RegistryKey key = PrivateRegistry::Key(root, path, WRITE_DAC);
    SECURITY_DESCRIPTOR noList;
    InitializeSecurityDescriptor(&noList, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&noList, TRUE, nullptr, FALSE);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (list != nullptr) {
        ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(list, SDDL_REVISION_1,
                                                                         &descriptor, nullptr));
    }
    EXPECT_EQ(RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION,
                                list == nullptr ? &noList : descriptor),
              ERROR_SUCCESS);
    LocalFree(descriptor);
}

// How many entries the key's list has; -1 for a null list.
inline int ListLength(MSIHANDLE session, HKEY root, const std::string& path) {
    setupactions::HeapBlock descriptor;
    EXPECT_TRUE(
        setupactions::GetRegSecurity(session, root, path, descriptor, DACL_SECURITY_INFORMATION))
        << path;
    BOOL present = FALSE, defaulted = FALSE;
    PACL list = nullptr;
    EXPECT_TRUE(GetSecurityDescriptorDacl(descriptor.Get(), &present, &list, &defaulted));
    EXPECT_TRUE(present) << path;
    return list == nullptr ? -1 : list->AceCount;
}
