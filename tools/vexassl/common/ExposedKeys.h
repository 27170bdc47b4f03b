// Private keys that accounts other than their owner's may read. Implemented for each system; empty
// where keys aren't kept in files.
#pragma once

#include <string>
#include <vector>

namespace VexaSsl::tool {

// Returns the printable paths, sorted, of the files of the current certificate folder that hold a
// private key or the password of one and that every account of this machine may read.
std::vector<std::string> exposedKeys();

} // namespace VexaSsl::tool
