// The process's controlling terminal. One thread at a time.
#pragma once

#include <optional>
#include <string>

namespace VexaSsl::openssl {

class Terminal {
public:
    // isOpen returns false when the process has no terminal.
    Terminal() noexcept;
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool isOpen() const noexcept { return descriptor >= 0; }
    // Writes a line. A failure is ignored.
    void writeLine(const std::wstring& text) const;
    // Returns the next line without its end, truncated to 80 bytes; nothing at the end of input.
    std::optional<std::string> readLine() const;

private:
    int descriptor = -1;
};

} // namespace VexaSsl::openssl
