#include "tool/TerminalSession.h"

#include "integration/support/HostSocket.h"

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace VexaSsl::test {

namespace {

[[noreturn]] void become(char* const* arguments, const char* output) {
    if (output != nullptr) {
        ::dup2(::open(output, O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    }
    ::execv(arguments[0], arguments);
    ::_exit(99);
}

} // namespace

TerminalSession::TerminalSession(const Words& words, Output output)
    : outputFile(freshFile(".out")) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    process = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        become(arguments.data(), output == Output::inFile ? outputFile.c_str() : nullptr);
    }
    if (process < 0) {
        throw std::runtime_error("no terminal");
    }
}

TerminalSession::~TerminalSession() {
    ::close(terminal);
    if (process > 0) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
}

void TerminalSession::type(std::string_view keys) {
    if (::write(terminal, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        throw std::runtime_error("the terminal takes no keys");
    }
}

// Returns false at the program's end and after the time limit.
bool TerminalSession::readSome() {
    pollfd waiting = {terminal, POLLIN, 0};
    if (::poll(&waiting, 1, 1000 * timeoutSeconds) <= 0) {
        return false;
    }
    char buffer[512];
    const ssize_t count = ::read(terminal, buffer, sizeof buffer);
    if (count > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return count > 0;
}

bool TerminalSession::shows(std::string_view wanted) {
    while (text.find(wanted) == std::string::npos) {
        if (!readSome()) {
            return false;
        }
    }
    return true;
}

int TerminalSession::exitStatus() {
    while (readSome()) {
    }
    for (int pauses = 0; pauses < 100 * timeoutSeconds; ++pauses) {
        int status = 0;
        if (::waitpid(process, &status, WNOHANG) == process) {
            process = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        ::usleep(10000);
    }
    return -1;
}

} // namespace VexaSsl::test
