// What --help says, taken apart.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace VexaSsl::test {

// Of "vexassl --help".
std::vector<std::string> helpCommands();

// "--ini FILE", "--www", "HOST:PORT" of "vexassl COMMAND --help"; --help itself left out.
std::set<std::string> helpFlags(const std::string& command);

// The lines to be typed.
std::vector<std::string> helpExamples(const std::string& command);

// The table of exit statuses, number and meaning.
std::map<int, std::string> helpStatuses();

} // namespace VexaSsl::test
