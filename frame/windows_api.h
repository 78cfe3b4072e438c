// The platform's headers, with the macros undone that would rename our own functions.
#pragma once

#include <windows.h>

#include <msi.h>
#include <msiquery.h>
