#include "interop/Program.h"

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

// A connected pair of local sockets: unlike with a pipe, writing without a reader is an error and
// raises no signal.
std::array<int, 2> channel() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error("no channel to a program");
    }
    return ends;
}

pid_t start(const std::vector<std::string>& command, int input, int output) {
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    pid_t process = -1;
    const int error =
        ::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("can't start " + command[0]);
    }
    return process;
}

} // namespace

bool Program::installed(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (::access((std::filesystem::path(folder) / name).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

Program::Program(const std::vector<std::string>& command) {
    const auto toProgram = channel();
    const auto fromProgram = channel();
    input = HostSocket(static_cast<SOCKET>(toProgram[0]));
    result = HostSocket(static_cast<SOCKET>(fromProgram[0]));
    process = start(command, toProgram[1], fromProgram[1]);
    ::close(toProgram[1]);
    ::close(fromProgram[1]);
    collector = std::thread([this] { collect(); });
}

Program::~Program() {
    if (process > 0) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    ::shutdown(result.descriptor(), SHUT_RDWR);
    collector.join();
}

void Program::collect() {
    std::array<char, 65536> buffer;
    while (true) {
        const ssize_t got = ::recv(result.descriptor(), buffer.data(), buffer.size(), 0);
        const std::lock_guard lock(guard);
        if (got <= 0) {
            ended = true;
        } else {
            collected.append(buffer.data(), static_cast<std::size_t>(got));
        }
        changed.notify_all();
        if (ended) {
            return;
        }
    }
}

bool Program::sendAll(std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = ::send(input.descriptor(), text.data(), text.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void Program::closeInput() {
    input.close();
}

template <typename Condition>
bool Program::waitUntil(Condition condition) {
    std::unique_lock lock(guard);
    changed.wait_for(lock, std::chrono::seconds(timeoutSeconds),
                     [&] { return condition() || ended; });
    return condition();
}

bool Program::shows(std::string_view text) {
    return waitUntil([&] { return collected.find(text) != std::string::npos; });
}

bool Program::showsBytes(std::size_t count) {
    return waitUntil([&] { return collected.size() >= count; });
}

std::string Program::output() const {
    const std::lock_guard lock(guard);
    return collected;
}

std::optional<int> Program::exitStatus() {
    for (int tries = 0; tries < 100 * timeoutSeconds; ++tries) {
        int status = 0;
        if (::waitpid(process, &status, WNOHANG) == process) {
            process = -1;
            waitUntil([] { return false; }); // for the end of the output, which may follow later
            return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return std::nullopt;
}

} // namespace VexaSsl::test
