// What a process knows of its own surroundings: its environment variables, its id, whether a
// stream is a terminal, and where its standard output goes. For the programs and tests built on
// the library, which use no operating-system header of their own.
#pragma once

#include <cstdio>
#include <string>

namespace zeta::platform {

// Sets (or replaces) the environment variable `name` of this process. A value set here is seen by
// std::getenv and by the child processes started afterwards. On Windows an empty value removes
// the variable.
// Threads: not while another thread reads or changes the environment.
void setEnvironmentVariable(const std::string& name, const std::string& value);

// Removes the environment variable `name` of this process; no-op when it is not set.
// Threads: as setEnvironmentVariable.
void unsetEnvironmentVariable(const std::string& name);

// The id the system gives this process (the one a parent sees for its child).
// Threads: any thread.
long currentProcessId();

// True when `stream` writes to (or reads from) a terminal or console.
// Threads: any thread.
bool isTerminal(std::FILE* stream);

// Points the process's standard output (its descriptor, so output of every part of the process,
// the C library's stdout included) at the file `path`, created or truncated, and returns a new
// stream on what standard output was before, which the caller owns and closes with fclose.
// Returns null, changing nothing, when the file cannot be opened or the descriptors cannot be
// duplicated.
// Threads: while no other thread writes to standard output.
std::FILE* divertStandardOutput(const std::string& path);

}  // namespace zeta::platform
