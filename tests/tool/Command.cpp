#include "tool/Command.h"

#include "fakes/Secrets.h"
#include "integration/support/HostSocket.h"
#include "integration/support/Settings.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace VexaSsl::test {

namespace {

constexpr int pausesPerWait = 100 * timeoutSeconds;

void pauseBriefly() {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

int opened(const std::filesystem::path& path, int flags) {
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        throw std::runtime_error("can't open " + path.string());
    }
    return descriptor;
}

pid_t start(const Words& words, int input, int output, int errors) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    // Descriptors inherited by the test program would count against a limit of the program.
    ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t process = -1;
    const int error =
        ::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("can't start " + words[0]);
    }
    return process;
}

} // namespace

Words operator+(Words first, const Words& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
}

std::string contents(const std::filesystem::path& file) {
    if (!std::filesystem::is_regular_file(file)) {
        return {}; // a device may have no end
    }
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::filesystem::path freshFile(const std::string& extension) {
    static std::atomic<int> number = 0;
    return temporaryFolder() / ("tool" + std::to_string(++number) + extension);
}

Command::Input Command::Input::text(const std::string& text) {
    secrets::addContent(text);
    const auto path = freshFile(".in");
    std::ofstream(path, std::ios::binary) << text;
    return file(path);
}

Command::Command(const Words& words, const Input& input, const std::filesystem::path& output)
    : outputFile(output.empty() ? freshFile(".out") : output), errorFile(freshFile(".err")) {
    int reader = -1;
    if (input.held) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        reader = ends[0];
        inputWriter = ends[1];
    } else {
        reader = opened(input.path.empty() ? "/dev/null" : input.path, O_RDONLY);
    }
    const int out = opened(outputFile, O_WRONLY | O_CREAT);
    const int error = opened(errorFile, O_WRONLY | O_CREAT);
    process = start(words, reader, out, error);
    for (const int descriptor : {reader, out, error}) {
        ::close(descriptor);
    }
}

Command::~Command() {
    closeInput();
    if (running()) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    secrets::searchIn(std::string_view(errors()));
}

bool Command::running() {
    int status = 0;
    if (process > 0 && ::waitpid(process, &status, WNOHANG) == process) {
        ended = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        process = -1;
    }
    return process > 0;
}

int Command::exitStatus() {
    for (int pauses = 0; running() && pauses < pausesPerWait; ++pauses) {
        pauseBriefly();
    }
    return running() ? -1 : ended;
}

std::string Command::output() const {
    return contents(outputFile);
}

std::string Command::errors() const {
    return contents(errorFile);
}

bool Command::waitFor(const std::filesystem::path& file, std::string_view text) {
    for (int pauses = 0; pauses < pausesPerWait; ++pauses) {
        const bool mayStillCome = running();
        if (contents(file).find(text) != std::string::npos) {
            return true;
        }
        if (!mayStillCome) {
            return false;
        }
        pauseBriefly();
    }
    return false;
}

bool Command::shows(std::string_view text) {
    return waitFor(outputFile, text);
}

bool Command::complains(std::string_view text) {
    return waitFor(errorFile, text);
}

void Command::say(std::string_view text) {
    if (::write(inputWriter, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the program doesn't read its input");
    }
}

void Command::closeInput() {
    if (inputWriter >= 0) {
        ::close(inputWriter);
        inputWriter = -1;
    }
}

void Command::signal(int number) {
    if (running()) {
        ::kill(process, number);
    }
}

std::size_t Command::openDescriptors() const {
    const auto folder = "/proc/" + std::to_string(process) + "/fd";
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

std::size_t Command::settledDescriptors() const {
    std::size_t count = openDescriptors();
    for (int same = 0, pauses = 0; same < 20 && pauses < pausesPerWait; ++pauses) {
        pauseBriefly();
        const std::size_t now = openDescriptors();
        same = now == count ? same + 1 : 0;
        count = now;
    }
    return count;
}

} // namespace VexaSsl::test
