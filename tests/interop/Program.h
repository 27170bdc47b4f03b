// A foreign program under a test's control: its input, its output as far as it has come, and its
// end. Every wait is bounded, and the destructor ends the program by its process number.
//
// A thread of the object collects the output; the rest is used by one thread.
#pragma once

#include "integration/support/HostSocket.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace VexaSsl::test {

class Program {
public:
    // Starts command[0], looked up in the path. Its standard output and error come together.
    explicit Program(const std::vector<std::string>& command);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    static bool installed(const std::string& name);

    // Writes to its input. False when it doesn't read any more.
    bool say(std::string_view text);
    void closeInput();

    // Waits until the output holds the text. False at the time limit or when the output has ended
    // without it.
    bool shows(std::string_view text);
    // Waits until the output has this many bytes, or has ended.
    bool showsBytes(std::size_t count);
    std::string output() const;

    // Waits for the end of the program. Result: its exit status, or nothing at the time limit and
    // for a program that a signal ended.
    std::optional<int> exitStatus();

private:
    void collect();
    template <typename Condition>
    bool waitUntil(Condition condition);

    pid_t process = -1;
    HostSocket input;
    HostSocket result;
    mutable std::mutex guard;
    std::condition_variable changed;
    std::string collected;
    bool ended = false;
    std::thread collector;
};

} // namespace VexaSsl::test
