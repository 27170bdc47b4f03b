// Standard output for data, in colour only on a terminal.
//
// Threads: one at a time.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

// Writes to standard output at once. Throws Failure (Usage) when the write fails: a full disk must
// not look like the end of the data.
void writeText(std::string_view text);
// The same, followed by a line end.
void writeLine(std::string_view line);

enum class Colour { Plain, Bold, Red, Yellow, Green };

// Colours texts for one stream, but only when the stream is a terminal that isn't dumb and NO_COLOR
// isn't set.
class Painter {
public:
    explicit Painter(std::FILE* stream);

    std::string paint(Colour colour, std::string_view text) const;

private:
    bool coloured;
};

} // namespace VexaSsl::tool
