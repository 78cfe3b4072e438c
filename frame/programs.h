// Outside programs: running them with their output in the log and the progress
// bar moving.
#pragma once

#include "frame/session.h"

namespace setupactions {

// At these characters the command processor drops the quotes around a command.
const char CommandProcessorCharacters[] = "&<>()@^|";

// One unit in which actions budget the progress bar.
const int ProgressUnitTicks = 100000;

// Runs a program and returns when it has ended; there is no time-out. What it
// prints, in the OEM code page, goes to the log in pieces of at most 1024 bytes,
// each a record template of its own, so the installer resolves square brackets
// in it. A command line without a program (an empty one, or one that begins with
// a blank or with empty quotes) is not started: the system would take its first
// argument for the program.
//
// commandLine    path of the program and its arguments
// progressUnits  how far the bar moves in all: while the program runs by
//                10000 ticks every 100 ms, then by what is left
// hideWindow     asks the program to show no window
// workingFolder  null for the caller's own
//
// Result: always 0. The program's exit code, or why it did not start or cannot be
// waited for, is logged.
UINT RunRedistProgram(MSIHANDLE session, const std::string& commandLine, int progressUnits,
                      bool hideWindow, const char* workingFolder = nullptr);

// Runs the command line that an immediate action prepared, its window shown, for 45
// units of the progress bar; without one a line says so. Always returns 0.
UINT RunPreparedCommand(MSIHANDLE session, const std::string& commandLine);

// Logs and moves the progress bar forward by so many ticks. Always answers 0.
UINT UseProgressTime(MSIHANDLE session, int ticks);

} // namespace setupactions
