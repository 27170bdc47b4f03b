// What the harnesses share. A harness is one function, LLVMFuzzerTestOneInput: it feeds the bytes
// to one part of the library or the tool that takes them from a stranger, and says by `require`
// what must hold whatever they are. It keeps nothing from one input to the next, so that an input
// alone repeats what it did.
//
// Threads: one.
#pragma once

#include "VexaSsl/ILog.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace VexaSsl::fuzz {

// Ends the process, which is a finding, with the invariant that doesn't hold.
inline void require(bool holds, const char* invariant) {
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", invariant);
        std::abort();
    }
}

// Takes an input apart from its front: small numbers that steer a harness, then texts. Behind the
// end every number is 0 and every text is empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : left(reinterpret_cast<const char*>(data), size) {}

    explicit Input(std::string_view text) : left(text) {}

    bool atEnd() const { return left.empty(); }
    std::size_t byte();
    // Of two bytes, the high one first.
    std::size_t number() {
        const std::size_t high = byte();
        return high << 8 | byte();
    }
    // Up to count bytes.
    std::string_view take(std::size_t count);
    // What comes up to the mark, which is passed over.
    std::string_view takeTo(char mark);
    std::string_view rest() { return std::exchange(left, std::string_view()); }

private:
    std::string_view left;
};

// A unit a byte. The last two values of a byte stand for the line terminators beyond a byte.
std::wstring wideText(std::string_view bytes);

// Counts lines and bounds their number; keeps what is worse than Info.
class StrictLog : public ILog {
public:
    explicit StrictLog(std::size_t mostLines = 100'000) : most(mostLines) {}

    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity) override {}

    std::size_t lines = 0;
    std::size_t units = 0;
    std::vector<std::wstring> warnings;
    std::vector<std::wstring> errors;

private:
    std::size_t most;
};

// A file in memory under a path that anybody in the process can open. Its content is replaced, the
// path stays.
class MemoryFile {
public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void write(std::string_view content);
    const std::string& path() const { return name; }

private:
    int descriptor;
    std::string name;
};

} // namespace VexaSsl::fuzz
