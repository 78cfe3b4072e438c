// Whether the installation may go on with the repository database that the
// user named.
#pragma once

#include "frame/windows_api.h"

namespace setupactions {

// Sets SQL_VX8_NONEXIST, SQL_VALIDATED, SQL_CONTINUE and INPUT_MSDE_PASSWORD
// from what detection found, from the feature of the desktop engine and from
// the database itself. Result: 1603 for a refusal in a silent installation,
// else 0.
UINT ValidateSQLRequirement(MSIHANDLE session);

// Empties NT_USER and NT_PASSWORD, the Windows account for the database.
void ClearNtAccount(MSIHANDLE session);

} // namespace setupactions
