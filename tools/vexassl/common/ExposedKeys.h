// Private keys that more than their owner may read. One source a system: only where keys lie in
// files is there anything to tell.
#pragma once

#include <string>
#include <vector>

namespace VexaSsl::tool {

// The files of the certificate folder in force, printable, that hold a private key, or the password
// of one, and that every account of this machine may read. In the order of their names.
std::vector<std::string> exposedKeys();

} // namespace VexaSsl::tool
