// Setup of the process before any command runs, so that it behaves alike on every system.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl::tool {

// From now on a write to a pipe without a reader gives an error instead of a signal, standard input
// and output carry bytes unchanged, and sockets can be used. Called once, by main. Throws Failure
// (CannotConnect) when the system has no sockets.
void setUpProcess();

// Raises the number of files and sockets that this process may hold at once, as far as the system
// allows it without privileges. Returns the number allowed from now on, which may be lower than
// asked for.
std::size_t allowDescriptors(std::size_t wanted);

// Returns the arguments of main, the program's name first: in UTF-8 where the system has wide
// arguments, else as the bytes they are.
std::vector<std::string> commandArguments(int argc, char** argv);

} // namespace VexaSsl::tool
