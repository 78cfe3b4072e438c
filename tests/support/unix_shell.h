// The host's shell, for what the engine's own calls cannot make: links, and
// paths longer than they allow.
#pragma once

#include <string>

// Runs a shell command in a folder of the machine and waits for its end. The
// command holds no double quotes. Ends the test program when it fails.
void RunUnixShell(const std::string& folder, const std::string& command);
