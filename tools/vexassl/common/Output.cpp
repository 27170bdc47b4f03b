#include "common/Output.h"

#include "common/ExitStatus.h"
#include "common/StandardStreams.h"
#include "common/Terminal.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace VexaSsl::tool {

namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool isDumb() {
    const char* kind = std::getenv("TERM");
    return kind != nullptr && std::string_view(kind) == "dumb";
}

const char* codeOf(Colour colour) {
    switch (colour) {
    case Colour::Bold:
        return "1";
    case Colour::Red:
        return "31";
    case Colour::Yellow:
        return "33";
    case Colour::Green:
        return "32";
    case Colour::Plain:
        break;
    }
    return "0";
}

} // namespace

void writeText(std::string_view text) {
    if (!writeStandardOutput(text.data(), text.size())) {
        throw Failure(ExitStatus::Usage, "cannot write to standard output");
    }
}

void writeLine(std::string_view line) {
    std::string whole(line);
    whole.push_back('\n');
    writeText(whole);
}

Painter::Painter(std::FILE* stream)
    : coloured(isTerminal(stream) && !isSet("NO_COLOR") && !isDumb()) {}

std::string Painter::paint(Colour colour, std::string_view text) const {
    if (!coloured || colour == Colour::Plain) {
        return std::string(text);
    }
    return "\x1b[" + std::string(codeOf(colour)) + "m" + std::string(text) + "\x1b[0m";
}

} // namespace VexaSsl::tool
