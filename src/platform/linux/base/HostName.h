// The machine's name without asking a name server. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace VexaSsl::linux {

// The first name of the line in hosts (the text of a hosts file) that names host, whatever the
// case. A name without a dot and those of the loopback are passed over. Empty if there is none.
std::string canonicalNameIn(std::string_view hosts, std::string_view host);

// The host name if it has a dot, else its canonical name from the hosts file, else the bare name.
std::string fullyQualifiedHostName();

} // namespace VexaSsl::linux
