#include "tool/Help.h"

#include "tool/Tool.h"

#include <sstream>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

std::string help(const Words& arguments) {
    const Outcome outcome = runTool(arguments + Words{"--help"});
    if (outcome.status != 0 || !outcome.errors.empty()) {
        throw std::runtime_error("no help: " + outcome.errors);
    }
    return outcome.output;
}

// The lines after a title up to the next empty one that start at the second column.
std::vector<std::string> listedUnder(const std::string& title, const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    bool inside = false;
    for (std::string line; std::getline(stream, line);) {
        if (line == title) {
            inside = true;
        } else if (line.empty()) {
            inside = false;
        } else if (inside && line.size() > 2 && line[2] != ' ') {
            lines.push_back(line.substr(2));
        }
    }
    return lines;
}

} // namespace

std::vector<std::string> helpCommands() {
    std::vector<std::string> names;
    for (const std::string& line : listedUnder("Commands:", help({}))) {
        names.push_back(line.substr(0, line.find(' ')));
    }
    return names;
}

std::set<std::string> helpFlags(const std::string& command) {
    std::set<std::string> flags;
    for (const std::string& line : listedUnder("Flags:", help({command}))) {
        flags.insert(line.substr(0, line.find("  ")));
    }
    flags.erase("--help");
    return flags;
}

std::vector<std::string> helpExamples(const std::string& command) {
    return listedUnder("Examples:", help({command}));
}

std::map<int, std::string> helpStatuses() {
    std::map<int, std::string> statuses;
    for (const std::string& line : listedUnder("Exit status:", help({}))) {
        const std::size_t text = line.find_first_not_of(' ', line.find(' '));
        statuses[std::stoi(line)] = line.substr(text);
    }
    return statuses;
}

} // namespace VexaSsl::test
