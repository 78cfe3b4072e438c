// The host's shell, for what the engine's own calls cannot create: links, and paths longer
// than they allow.
#pragma once

#include <string>

// Runs a shell command in a folder of the machine and waits until it ends. The command
// must not contain double quotes. Ends the test program when it fails.
void RunUnixShell(const std::string& folder, const std::string& command);
