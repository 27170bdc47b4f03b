// The findings of a check: each with an identifier that scripts may rely on, a place, and a
// sentence.
#pragma once

#include "common/ExitStatus.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

namespace VexaSsl::tool {

enum class Gravity {
    Note,    // information; never changes the exit status
    Warning, // the format or the library silently drops something
    Error,   // a start or a connection fails
};

struct Finding {
    Gravity gravity = Gravity::Warning;
    std::string id;
    std::string text;                      // one sentence, printable UTF-8
    std::string file;                      // printable; empty without a file
    std::size_t line = 0;                  // from 1; 0 without a line
    ExitStatus status = ExitStatus::Usage; // of an Error
};

using Findings = std::vector<Finding>;

// Collects the findings of one file. A hostile file gives millions of them: a limited number of
// each kind is kept, and fewer are shown.
class FindingList {
public:
    void add(Finding finding);

    const Findings& all() const { return kept; }

    // Returns, in the order of the lines after a wrong encoding, the first ones of each kind and
    // how many more there are.
    Findings shown() const;

private:
    Findings kept;
    std::unordered_map<std::string, std::size_t> counts;
};

} // namespace VexaSsl::tool
