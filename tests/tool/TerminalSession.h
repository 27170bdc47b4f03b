// A program on a terminal of its own, as a user sees it. Every wait is bounded, and the destructor
// ends the program by its process number.
//
// Used by one thread.
#pragma once

#include "tool/Command.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace VexaSsl::test {

class TerminalSession {
public:
    // Keys that the terminal itself understands.
    static constexpr std::string_view endOfFile = "\x04";
    static constexpr std::string_view interrupt = "\x03";

    enum class Output {
        onTerminal, // with all the rest
        inFile      // standard output apart
    };

    // Starts words[0], a path.
    TerminalSession(const Words& words, Output output);
    ~TerminalSession();
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    void type(std::string_view keys);
    // Waits until the terminal shows the text; false when time is up or the program ended
    // without it.
    bool shows(std::string_view text);
    // Reads to the program's end. Returns the exit status, 128 plus the number of a signal, or -1
    // after the time limit.
    int exitStatus();

    // What the terminal has shown so far.
    const std::string& shown() const { return text; }
    std::string output() const { return contents(outputFile); }

private:
    bool readSome();

    std::filesystem::path outputFile;
    std::string text;
    int terminal = -1;
    pid_t process = -1;
};

} // namespace VexaSsl::test
