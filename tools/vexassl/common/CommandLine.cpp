#include "common/CommandLine.h"

#include "common/CommandHelp.h"
#include "common/NearestName.h"
#include "common/Output.h"
#include "common/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace VexaSsl::tool {

namespace {

bool isNumber(const std::string& text) {
    const std::size_t digits = text.starts_with('-') ? 1 : 0;
    return text.size() > digits && text.find_first_not_of("0123456789", digits) == text.npos;
}

// Returns what is wrong with a number, or nothing. CLI11's own text differs between its versions.
std::string rangeError(const std::string& text, unsigned lowest, unsigned highest) {
    return CLI::Range(lowest, highest)(text).empty()
               ? ""
               : "Value " + text + (isNumber(text) ? " not in range " : " is no number from ") +
                     std::to_string(lowest) + " to " + std::to_string(highest);
}

// Binds the target of a flag, according to its type.
struct Adder {
    CLI::App& command;
    const Flag& flag;

    CLI::Option* operator()(bool* target) const {
        return command.add_flag(flag.name, *target, flag.text);
    }
    CLI::Option* operator()(unsigned* target) const {
        return command.add_option(flag.name, *target, flag.text)
            ->check([lowest = flag.lowest, highest = flag.highest](const std::string& text) {
                return rangeError(text, lowest, highest);
            });
    }
    // An unset variable of a script must not look like a flag that isn't given.
    CLI::Option* operator()(std::string* target) const {
        return command.add_option(flag.name, *target, flag.text)
            ->check([](const std::string& text) {
                return text.empty() ? std::string("must not be empty") : std::string();
            });
    }
    CLI::Option* operator()(std::vector<std::string>* target) const {
        return command.add_option(flag.name, *target, flag.text)->allow_extra_args(false);
    }
};

void addFlag(CLI::App& command, const Flag& flag) {
    CLI::Option* option = std::visit(Adder{command, flag}, flag.target);
    option->required(flag.required);
    if (!flag.words.empty()) {
        option->transform(CLI::IsMember(flag.words, CLI::ignore_case));
    }
}

void addFlags(CLI::App& command, const Flags& flags) {
    for (const Flag& flag : flags) {
        addFlag(command, flag);
    }
    // Flags that others name exist only now.
    for (const Flag& flag : flags) {
        CLI::Option* option = command.get_option(flag.name);
        if (!flag.needs.empty()) {
            option->needs(command.get_option(flag.needs));
        }
        if (!flag.excludes.empty()) {
            option->excludes(command.get_option(flag.excludes));
        }
    }
}

// --- Errors, in the words of the help.

std::string listed(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "[" : " [") + printableText(std::string_view(word)) + "]";
    }
    return text;
}

std::vector<std::wstring> namesOf(const std::vector<Command>& commands) {
    std::vector<std::wstring> names;
    for (const Command& command : commands) {
        names.push_back(widenedBytes(command.name));
    }
    return names;
}

std::vector<std::wstring> namesOf(const Flags& flags) {
    std::vector<std::wstring> names;
    for (const Flag& flag : flags) {
        if (flag.name.starts_with("-")) {
            names.push_back(widenedBytes(flag.name));
        }
    }
    return names;
}

std::string suggestion(const std::string& word, const std::vector<std::wstring>& known) {
    const std::optional<std::wstring> nearest = nearestName(widenedBytes(word), known);
    return nearest ? "; did you mean " + printableText(*nearest) + "?" : "";
}

std::string noCommand(const std::vector<Command>& commands,
                      const std::vector<std::string>& arguments) {
    std::string names;
    for (const Command& command : commands) {
        names += (names.empty() ? "" : ", ") + command.name;
    }
    if (arguments.empty()) {
        return "give a command: " + names;
    }
    return listed({arguments.front()}) + " is no command; the commands are " + names +
           suggestion(arguments.front(), namesOf(commands));
}

const Command* findNamed(const std::vector<Command>& commands, const std::string& name) {
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const Command& each) { return each.name == name; });
    return found == commands.end() ? nullptr : &*found;
}

// vexassl help [COMMAND]; arguments: those after "help".
ExitStatus runHelp(const std::vector<Command>& commands,
                   const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        writeText(generalHelp(commands));
        return ExitStatus::Success;
    }
    const Command* asked = findNamed(commands, arguments.front());
    if (asked == nullptr || arguments.size() > 1) {
        throw Failure(ExitStatus::Usage, (asked == nullptr ? noCommand(commands, arguments)
                                                           : "help takes one command") +
                                             std::string(" (see vexassl --help)"));
    }
    writeText(commandHelp(*asked));
    return ExitStatus::Success;
}

// In the order of the command line, which the parser reverses.
std::string unexpected(const CLI::App& app, const Command& command,
                       const std::vector<std::string>& arguments) {
    const std::vector<std::string> left = app.remaining(true);
    std::vector<std::string> words;
    std::copy_if(arguments.begin(), arguments.end(), std::back_inserter(words),
                 [&left](const std::string& argument) {
                     return std::find(left.begin(), left.end(), argument) != left.end();
                 });
    const bool isFlag = !words.empty() && words.front().starts_with("-");
    return "not expected here: " + listed(words) +
           (isFlag ? suggestion(words.front(), namesOf(command.flags)) : "");
}

// text begins with the name of its flag.
std::string mismatch(const Command& command, const std::string& text) {
    for (const Flag& flag : command.flags) {
        if (text.starts_with(flag.name + ":")) {
            const bool isMissing = text.ends_with("missing");
            return isMissing ? flag.name + " wants a value: " + flag.name + " " + flag.value
                             : flag.name + " may be given once only";
        }
    }
    return text;
}

// Names an argument without a flag as the help does: at the start, where each text names its flag,
// and at the end of a text about two flags. The user's own words may stand in between.
std::string withShownNames(const Command& command, const CLI::ParseError& error) {
    const bool isOnTwo = dynamic_cast<const CLI::RequiresError*>(&error) != nullptr ||
                         dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr;
    std::string text = error.what();
    for (const Flag& flag : command.flags) {
        if (flag.name.starts_with("-")) {
            continue;
        }
        if (text.starts_with(flag.name)) {
            text.replace(0, flag.name.size(), flag.value);
        }
        if (isOnTwo && text.ends_with(" " + flag.name)) {
            text.replace(text.size() - flag.name.size(), flag.name.size(), flag.value);
        }
    }
    return text;
}

std::string wording(const CLI::ParseError& error, const CLI::App& app, const Command& command,
                    const std::vector<std::string>& arguments) {
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
        return unexpected(app, command, arguments);
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        return mismatch(command, error.what());
    }
    return withShownNames(command, error);
}

const Command* findParsed(const std::vector<Command>& commands, const CLI::App& app) {
    for (const Command& command : commands) {
        if (app.got_subcommand(command.name)) {
            return &command;
        }
    }
    return nullptr;
}

} // namespace

ExitStatus runCommandLine(const std::vector<Command>& commands, int argc, const char* const* argv) {
    if (argc > 1 && std::string_view(argv[1]) == "help") {
        return runHelp(commands, {argv + 2, argv + argc});
    }
    CLI::App app("", "vexassl");
    app.require_subcommand(1);
    app.set_version_flag("-v,-V,--version", "");
    for (const Command& command : commands) {
        addFlags(*app.add_subcommand(command.name, command.summary), command.flags);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const Command* asked = findParsed(commands, app);
        writeText(asked == nullptr ? generalHelp(commands) : commandHelp(*asked));
        return ExitStatus::Success;
    } catch (const CLI::CallForVersion&) {
        if (argc > 2) {
            throw Failure(ExitStatus::Usage, "--version stands alone (see vexassl --help)");
        }
        return runCommandLine(commands, 2, std::array{*argv, "version"}.data());
    } catch (const CLI::ParseError& error) {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        const Command* asked = findParsed(commands, app);
        const std::string text = asked == nullptr ? noCommand(commands, arguments)
                                                  : wording(error, app, *asked, arguments);
        throw Failure(ExitStatus::Usage, text + " (see vexassl " +
                                             (asked == nullptr ? "" : asked->name + " ") +
                                             "--help)");
    }
    return findParsed(commands, app)->run();
}

} // namespace VexaSsl::tool
