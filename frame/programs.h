// Running external programs, with their output in the log and the progress bar moving.
#pragma once

#include "frame/session.h"

namespace setupactions {

// The command processor drops the quotes around a command that contains one of these.
const char CommandProcessorCharacters[] = "&<>()@^|";

// The unit in which actions budget the progress bar.
const int ProgressUnitTicks = 100000;

// Runs a program and returns when it has ended; there is no time limit. Its output, in
// the OEM code page, goes to the log in pieces of at most 1024 bytes. Each piece is a
// record template, so the installer resolves square brackets in it. A command line
// without a program (an empty one, or one that begins with a blank or with empty quotes)
// is not started: the system would take its first argument for the program.
//
// commandLine    path of the program and its arguments
// progressUnits  how far the bar moves in total: by 10000 ticks every 100 ms while the
//                program runs, then by the rest
// hideWindow     asks the program to show no window
// workingFolder  null for the caller's
//
// Result: always 0. The log has the program's exit code, or the reason why the program
// did not start or could not be waited for.
UINT RunRedistProgram(MSIHANDLE session, const std::string& commandLine, int progressUnits,
                      bool hideWindow, const char* workingFolder = nullptr);

// Runs a command line that an immediate action prepared, with its window shown and 45
// units of the progress bar; an empty one is logged. Always returns 0.
UINT RunPreparedCommand(MSIHANDLE session, const std::string& commandLine);

// Advances the progress bar by so many ticks and logs it. Always returns 0.
UINT UseProgressTime(MSIHANDLE session, int ticks);

} // namespace setupactions
