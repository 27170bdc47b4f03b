// The process's controlling terminal, for a question to the user. Used by one thread.
#pragma once

#include <optional>
#include <string>

namespace VexaSsl::openssl {

class Terminal {
public:
    // isOpen tells whether the process has a terminal.
    Terminal() noexcept;
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool isOpen() const noexcept { return descriptor >= 0; }
    // A line; what can't be written is lost.
    void writeLine(const std::wstring& text) const;
    // The next line without its end, cut to a length that no answer needs. Nothing at the end of
    // the input.
    std::optional<std::string> readLine() const;

private:
    int descriptor = -1;
};

} // namespace VexaSsl::openssl
