// A program that a test controls: its input, its output and its end. Every wait has a timeout, and
// the destructor ends the program by its process id.
//
// Threads: a thread of the object collects the output; everything else is used by one thread.
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
    // Starts command[0], which is searched in PATH. Standard output and standard error are joined.
    explicit Program(const std::vector<std::string>& command);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    static bool installed(const std::string& name);

    // Writes to its input. Returns false when the program has closed it.
    bool sendAll(std::string_view text);
    void closeInput();

    // Waits until the output contains the text. Returns false after the timeout or at the end of
    // the output.
    bool shows(std::string_view text);
    // Waits until the output has that many bytes or has ended.
    bool showsBytes(std::size_t count);
    std::string output() const;

    // Waits for the end of the program. Returns its exit status, or nothing after the timeout and
    // when a signal has ended it.
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
