// Declares every exported action of the catalogue.
#pragma once

#include "frame/compiler.h"
#include "frame/windows_api.h"

// The DLL's entry points, called by the installer with the session handle.
// Result: a Windows Installer result code; 0 unless the action says otherwise.
#define SETUP_ACTION(Name, Room, When, Purpose) extern "C" UINT __stdcall Name(MSIHANDLE session);
#include "exports/catalogue.inc"
#undef SETUP_ACTION
