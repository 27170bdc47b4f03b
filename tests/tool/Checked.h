// The words of the tests of check: an ini file, a store, and what the command says of them.
#pragma once

#include "tool/Tool.h"

#include <filesystem>
#include <string>
#include <vector>

namespace VexaSsl::test {

// A file with these bytes in the temporary folder.
std::filesystem::path fileHolding(const std::string& bytes, const std::string& extension = ".ini");
// An ini file that leads to a store with these bytes.
struct Configured {
    explicit Configured(const std::string& store);

    std::filesystem::path store;
    std::filesystem::path ini;
};

// Runs check on them for the connection Tested, with the certificates of the tests.
Outcome checked(const std::filesystem::path& ini, const Words& more = {});

// The lines of stderr that are findings of this identifier, "FILE:LINE: warning: TEXT".
std::vector<std::string> findings(const Outcome& outcome, const std::string& identifier);
// The first of them, or nothing.
std::string firstFinding(const Outcome& outcome, const std::string& identifier);
// The numbers of the lines of a file that have a finding of this identifier.
std::vector<int> linesWith(const Outcome& outcome, const std::string& identifier,
                           const std::filesystem::path& file);

} // namespace VexaSsl::test
