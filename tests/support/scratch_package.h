// A small package with the installer's usual tables, created once per test program.
#pragma once

#include "frame/windows_api.h"

#include <string>

// The package's path. The first call creates it.
const std::string& ScratchPackage();

// Executes one statement. Result: the installer's.
UINT RunSql(MSIHANDLE database, const std::string& query);
