// What a command of the tool is: one table that feeds the parser of the command line, the help and
// the tests of the manual. The table's targets lie in options that `run` keeps alive.
//
// A new command: a file with a function that returns its Command, and a line in Commands.cpp.
#pragma once

#include "common/ExitStatus.h"

#include <functional>
#include <limits>
#include <string>
#include <variant>
#include <vector>

namespace VexaSsl::tool {

struct Flag {
    // A switch, a number, a text, or a text that may be given several times.
    using Target = std::variant<bool*, unsigned*, std::string*, std::vector<std::string>*>;

    std::string name;  // "--ini"; without dashes it is an argument that needs no name
    std::string value; // what stands for its value in the help, "FILE"; empty for a switch
    std::string text;  // for the help; the default is added from the target
    Target target;
    bool required = false;
    unsigned lowest = 0; // of a number
    unsigned highest = std::numeric_limits<unsigned>::max();
    std::vector<std::string> words = {}; // the only legal texts, whatever their case; empty: any
    std::string needs = "";              // another flag that must be given with it
    std::string excludes = "";           // another flag that must not
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
    std::string notes; // paragraphs behind the flags: what the output holds; may be empty
    // Throws Failure, or gives the status. Called once at most.
    std::function<ExitStatus()> run;
};

} // namespace VexaSsl::tool
