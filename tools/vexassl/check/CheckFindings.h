// What a check finds: each with an identifier that scripts may rely on, a place, and a sentence.
#pragma once

#include "common/ExitStatus.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

namespace VexaSsl::tool {

enum class Gravity {
    Note,    // worth knowing; never changes the exit status
    Warning, // the format or the library drops something without a word
    Error,   // a start, or a connection after it, fails
};

struct Finding {
    Gravity gravity = Gravity::Warning;
    std::string id;
    std::string text;                      // one sentence, printable UTF-8
    std::string file;                      // printable; empty when it is about no file
    std::size_t line = 0;                  // from 1; 0 when it is about no line
    ExitStatus status = ExitStatus::Usage; // of an Error
};

using Findings = std::vector<Finding>;

// Collects the findings of one file. A hostile file gives millions of them: only so many of a kind
// are kept, and fewer told.
class FindingList {
public:
    void add(Finding finding);

    const Findings& all() const { return kept; }

    // In the order of the lines; of each kind the first ones, and how many more there are.
    Findings told() const;

private:
    Findings kept;
    std::unordered_map<std::string, std::size_t> counts;
};

} // namespace VexaSsl::tool
