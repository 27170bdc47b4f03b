// vexassl: connections through the library from the command line, and administration of the
// library.
#include "Commands.h"
#include "common/CommandLine.h"
#include "common/ExitStatus.h"
#include "common/ProcessSetup.h"
#include "common/Text.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

using namespace VexaSsl::tool;

// An argument in the line may hold a line end or control characters.
void printLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    std::fprintf(stderr, "vexassl: %s\n", printableText(text).c_str());
}

int failed(ExitStatus status, const std::string& text) {
    printLine(text);
    return static_cast<int>(status);
}

} // namespace

int main(int argc, char** argv) {
    try {
        setUpProcess();
        const std::vector<std::string> arguments = commandArguments(argc, argv);
        std::vector<const char*> words;
        for (const std::string& argument : arguments) {
            words.push_back(argument.c_str());
        }
        return static_cast<int>(
            runCommandLine(allCommands(), static_cast<int>(words.size()), words.data()));
    } catch (const Failure& failure) {
        const int status = failed(failure.status, failure.what());
        if (!failure.note.empty()) {
            printLine("note: " + failure.note);
        }
        return status;
    } catch (const std::exception& error) {
        return failed(ExitStatus::Usage, error.what());
    }
}
