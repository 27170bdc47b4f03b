#include "CommandLine.h"

#include "CommandHelp.h"
#include "Output.h"

#include <CLI/CLI.hpp>

#include <string>
#include <variant>
#include <vector>

namespace VexaSsl::tool {

namespace {

// Binds a flag's target, by its type.
struct Adder {
    CLI::App& command;
    const Flag& flag;

    CLI::Option* operator()(bool* target) const {
        return command.add_flag(flag.name, *target, flag.text);
    }
    CLI::Option* operator()(unsigned* target) const {
        return command.add_option(flag.name, *target, flag.text)
            ->check(CLI::Range(flag.lowest, flag.highest));
    }
    // A script's variable that isn't set must not look like a flag that isn't given.
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
    // Only now is every flag there that another one names.
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
    CLI::App app("", "vexassl");
    app.require_subcommand(1);
    for (const Command& command : commands) {
        addFlags(*app.add_subcommand(command.name, command.summary), command.flags);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const Command* asked = findParsed(commands, app);
        writeText(asked == nullptr ? generalHelp(commands) : commandHelp(*asked));
        return ExitStatus::Well;
    } catch (const CLI::ParseError& error) {
        const Command* asked = findParsed(commands, app);
        throw Failure(ExitStatus::Usage, std::string(error.what()) + " (see vexassl " +
                                             (asked == nullptr ? "" : asked->name + " ") +
                                             "--help)");
    }
    return findParsed(commands, app)->run();
}

} // namespace VexaSsl::tool
