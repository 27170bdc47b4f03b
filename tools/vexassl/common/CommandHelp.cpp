#include "common/CommandHelp.h"

#include <cstddef>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t width = 79;
constexpr std::size_t textColumn = 26;
constexpr std::size_t exampleColumn = 6;

bool isPositional(const Flag& flag) {
    return !flag.name.starts_with("-");
}

// "--ini FILE", or "TARGET" for an argument without a name.
std::string spelled(const Flag& flag) {
    if (isPositional(flag)) {
        return flag.value;
    }
    return flag.value.empty() ? flag.name : flag.name + " " + flag.value;
}

// Returns the words of the text in lines that all start at the column; the first line has reached
// `position` already.
std::string filled(const std::string& text, std::size_t column, std::size_t position) {
    std::string result;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const bool fresh = position <= column;
        if (!fresh && position + 1 + word.size() > width) {
            result += "\n";
            position = 0;
        } else if (!fresh) {
            result += " ";
            ++position;
        }
        if (position < column) {
            result.append(column - position, ' ');
            position = column;
        }
        result += word;
        position += word.size();
    }
    return result + "\n";
}

// Paragraphs, separated by an empty line.
std::string paragraphs(const std::string& text) {
    std::string result;
    std::istringstream lines(text);
    std::string paragraph;
    const auto flush = [&] {
        if (!paragraph.empty()) {
            result += "\n" + filled(paragraph, 0, 0);
        }
        paragraph.clear();
    };
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            flush();
        } else {
            paragraph += line + "\n";
        }
    }
    flush();
    return result;
}

std::string listed(const std::string& name, const std::string& text) {
    const std::string start = "  " + name;
    if (start.size() + 2 > textColumn) {
        return start + "\n" + filled(text, textColumn, 0);
    }
    return start + filled(text, textColumn, start.size());
}

std::string defaultOf(const Flag& flag) {
    if (const auto* number = std::get_if<unsigned*>(&flag.target)) {
        return flag.required ? "" : std::to_string(**number);
    }
    const auto* text = std::get_if<std::string*>(&flag.target);
    return text == nullptr ? "" : **text;
}

std::string explained(const Flag& flag) {
    std::string text = flag.text;
    if (!flag.words.empty()) {
        text += "; one of";
        for (const std::string& word : flag.words) {
            text += (&word == &flag.words.front() ? " " : ", ") + word;
        }
    }
    if (flag.required && !isPositional(flag)) {
        text += " (required)";
    } else if (const std::string value = defaultOf(flag); !value.empty()) {
        text += " (default: " + value + ")";
    }
    return text;
}

std::string usage(const Command& command) {
    std::string text = "Usage: vexassl " + command.name;
    for (const Flag& flag : command.flags) {
        if (flag.required && !isPositional(flag)) {
            text += " " + spelled(flag);
        }
    }
    text += " [FLAGS]";
    for (const Flag& flag : command.flags) {
        if (isPositional(flag)) {
            text += flag.required ? " " + spelled(flag) : " [" + spelled(flag) + "]";
        }
    }
    return text + "\n";
}

std::string examples(const Command& command) {
    std::string text = "\nExamples:\n";
    for (const Example& example : command.examples) {
        text += "  " + example.line + "\n" + filled(example.text, exampleColumn, 0);
    }
    return text;
}

} // namespace

std::string generalHelp(const std::vector<Command>& commands) {
    std::string text =
        "Usage: vexassl COMMAND [FLAGS]\n\n"
        "A client and a server for connections that a configuration file describes, with\n"
        "checks of the file and of the certificates.\n\nCommands:\n";
    for (const Command& command : commands) {
        text += listed(command.name, command.summary);
    }
    text += "\n\"vexassl COMMAND --help\" and \"vexassl help COMMAND\" show a command's flags and\n"
            "examples.\n"
            "\"vexassl --version\" is short for \"vexassl version\".\n\n";
    return text + exitStatusHelp;
}

std::string commandHelp(const Command& command) {
    std::string text = usage(command) + "\n" + filled(command.summary + ".", 0, 0) + "\nFlags:\n";
    for (const Flag& flag : command.flags) {
        text += listed(spelled(flag), explained(flag));
    }
    text += listed("--help", "Show this text");
    return text + paragraphs(command.notes) + examples(command) + "\n" + exitStatusHelp;
}

} // namespace VexaSsl::tool
