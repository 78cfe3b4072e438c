// A small package with the installer's usual tables, made once per test program.
#pragma once

#include "frame/windows_api.h"

#include <string>

// The package's path. It is made on the first call.
const std::string& ScratchPackage();

// Executes one statement. Result: the installer's.
UINT RunSql(MSIHANDLE database, const std::string& query);
