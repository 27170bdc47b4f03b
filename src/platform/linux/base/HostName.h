// The machine's name, without a DNS query. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace VexaSsl::linux {

// Returns the canonical name of host in hosts, the text of a hosts file: the first name of a line
// that contains host, in any letter case. Skips lines whose first name has no dot or is a loopback
// name. Returns an empty text when no line is left.
std::string canonicalNameIn(std::string_view hosts, std::string_view host);

// Returns the host name if it has a dot, else its canonical name from the hosts file, else the bare
// name.
std::string fullyQualifiedHostName();

} // namespace VexaSsl::linux
