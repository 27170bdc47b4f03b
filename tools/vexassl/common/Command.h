// A command of the tool, as one table: the command-line parser, the help and the tests of the
// manual read it. The targets of its flags are fields of options that `run` keeps alive.
//
// To add a command, write a function that returns its Command and add it to Commands.cpp.
#pragma once

#include "common/ExitStatus.h"

#include <functional>
#include <limits>
#include <string>
#include <variant>
#include <vector>

namespace VexaSsl::tool {

struct Flag {
    // A switch, a number, a text, or a text that may be repeated.
    using Target = std::variant<bool*, unsigned*, std::string*, std::vector<std::string>*>;

    std::string name;  // "--ini"; without dashes it is an argument that needs no name
    std::string value; // placeholder of the value in the help, "FILE"; empty for a switch
    std::string text;  // for the help, which adds the default from the target
    Target target;
    bool required = false;
    unsigned lowest = 0; // of a number
    unsigned highest = std::numeric_limits<unsigned>::max();
    std::vector<std::string> words = {}; // the valid texts, in any letter case; empty: any text
    std::string needs = "";              // another flag that must be given too
    std::string excludes = "";           // another flag that must not be given
};

using Flags = std::vector<Flag>;

inline Flags operator+(Flags first, const Flags& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
}

struct Example {
    std::string line; // as typed
    std::string text; // what it does
};

struct Command {
    std::string name;
    std::string summary; // one line
    Flags flags;
    std::vector<Example> examples;
    std::string notes; // paragraphs that follow the flags, on the output; may be empty
    // Returns the exit status or throws Failure. Called once at most.
    std::function<ExitStatus()> run;
};

} // namespace VexaSsl::tool
