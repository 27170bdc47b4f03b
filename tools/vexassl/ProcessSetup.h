// What the tool does first, before any command runs: the process is made to behave alike on every
// system.
#pragma once

#include <string>
#include <vector>

namespace VexaSsl::tool {

// A writer to a pipe that nobody reads gets an error instead of a signal from now on, standard
// input and output carry bytes as they are, and the system's sockets are ready for use. Called
// once, by main. Throws Failure (CannotConnect) when there are no sockets to be had.
void setUpProcess();

// The arguments of main, the program's name first, in the encoding in which the tool keeps texts:
// UTF-8 where the system has wide arguments, else the bytes as they came.
std::vector<std::string> commandArguments(int argc, char** argv);

} // namespace VexaSsl::tool
