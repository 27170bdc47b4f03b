// Standard output for data, with colours only where a person looks.
//
// Threads: one at a time.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

// Writes to standard output at once. Throws Failure (Usage) when it takes no more: a disk that is
// full must not look like an end.
void writeText(std::string_view text);
// The same with a line end.
void writeLine(std::string_view line);

enum class Colour { Plain, Bold, Red, Yellow, Green };

// Paints texts for one stream: only when that is a terminal, it isn't a dumb one, and the
// environment has no NO_COLOR.
class Painter {
public:
    explicit Painter(std::FILE* stream);

    std::string paint(Colour colour, std::string_view text) const;

private:
    bool coloured;
};

} // namespace VexaSsl::tool
