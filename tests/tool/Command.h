// A program under a test's control, with standard input, output and error apart. Every wait is
// bounded, and the destructor ends the program by its process number. A program that says on
// standard error what it was given to read fails the test.
//
// Used by one thread. Its files live in the temporary folder of the test process.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace VexaSsl::test {

using Words = std::vector<std::string>;

Words operator+(Words first, const Words& more);

class Command {
public:
    // What the program reads.
    struct Input {
        static Input none() { return {}; }
        static Input text(const std::string& text);
        static Input file(const std::filesystem::path& path) { return {path, false}; }
        // Stays open and brings nothing until say or closeInput.
        static Input open() { return {{}, true}; }

        std::filesystem::path path; // empty: /dev/null
        bool held = false;
    };

    // Starts words[0], looked up in the path. output: where standard output goes, a file of the
    // object's own when empty.
    explicit Command(const Words& words, const Input& input = Input::none(),
                     const std::filesystem::path& output = {});
    ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // Waits for the end. Returns the exit status, 128 plus the number of a signal, or -1 after the
    // time limit.
    int exitStatus();
    bool running();

    std::string output() const;
    std::string errors() const;
    // Wait until the text was written; false when time is up or the program ended without it.
    bool shows(std::string_view text);
    bool complains(std::string_view text);

    void say(std::string_view text);
    void closeInput();
    void signal(int number);

    std::size_t openDescriptors() const;
    // The number that stays: between two steps of a server there is one more or less for a moment.
    std::size_t settledDescriptors() const;
    pid_t processNumber() const { return process; }

private:
    bool waitFor(const std::filesystem::path& file, std::string_view text);

    std::filesystem::path outputFile;
    std::filesystem::path errorFile;
    pid_t process = -1;
    int inputWriter = -1;
    int ended = -1;
};

// The bytes of a file.
std::string contents(const std::filesystem::path& file);
// A file of its own in the temporary folder.
std::filesystem::path freshFile(const std::string& extension);

} // namespace VexaSsl::test
