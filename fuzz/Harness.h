// Used by all harnesses. A harness is a function LLVMFuzzerTestOneInput that passes the input to a
// part of the library or the tool which reads untrusted data, and checks invariants by `require`.
// It keeps no state between inputs, so that each input can be reproduced alone.
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

// Reports a broken invariant by ending the process, which is a finding.
inline void require(bool holds, const char* invariant) {
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", invariant);
        std::abort();
    }
}

// Reads an input from the front: numbers that control a harness, then texts. At the end all numbers
// are 0 and all texts are empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : left(reinterpret_cast<const char*>(data), size) {}

    explicit Input(std::string_view text) : left(text) {}

    bool atEnd() const { return left.empty(); }
    std::size_t byte();
    // Two bytes, big-endian.
    std::size_t number() {
        const std::size_t high = byte();
        return high << 8 | byte();
    }
    // At most count bytes.
    std::string_view take(std::size_t count);
    // The text before the next mark, which is skipped.
    std::string_view takeTo(char mark);
    std::string_view rest() { return std::exchange(left, std::string_view()); }

private:
    std::string_view left;
};

// One unit for each byte. The two highest bytes become the line terminators U+2028 and U+2029.
std::wstring wideText(std::string_view bytes);

// Counts lines, bounds their number, and keeps warnings and errors.
class StrictLog : public ILog {
public:
    explicit StrictLog(std::size_t maxLines = 100'000) : maxLines(maxLines) {}

    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity) override {}

    std::size_t lines = 0;
    std::size_t units = 0;
    std::vector<std::wstring> warnings;
    std::vector<std::wstring> errors;

private:
    std::size_t maxLines;
};

// A file in memory with a path that the process can open. write replaces its content.
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
