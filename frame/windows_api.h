// The platform's headers, in the order in which they depend on each other.
#pragma once

#include <windows.h>

#include <msi.h>
#include <msiquery.h>
