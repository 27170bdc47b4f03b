// What the tool does first, before any command runs: the process is made to behave alike on every
// system.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl::tool {

// A writer to a pipe that nobody reads gets an error instead of a signal from now on, standard
// input and output carry bytes as they are, and the system's sockets are ready for use. Called
// once, by main. Throws Failure (CannotConnect) when there are no sockets to be had.
void setUpProcess();

// Lets this process hold so many files and sockets at once, as far as the system allows it without
// special rights. Result: how many it may hold from now on, which may be fewer.
std::size_t allowDescriptors(std::size_t wanted);

// The arguments of main, the program's name first, in the encoding in which the tool keeps texts:
// UTF-8 where the system has wide arguments, else the bytes as they came.
std::vector<std::string> commandArguments(int argc, char** argv);

} // namespace VexaSsl::tool
