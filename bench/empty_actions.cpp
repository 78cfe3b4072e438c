// Every action of the catalogue, doing nothing: what an installation takes without them.
#include "exports/actions.h"

#define SETUP_ACTION(Name, Room, When, Purpose)                                                    \
    extern "C" UINT __stdcall Name(MSIHANDLE) { return ERROR_SUCCESS; }
#include "exports/catalogue.inc"
#undef SETUP_ACTION
