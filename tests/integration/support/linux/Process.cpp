#include "integration/support/System.h"

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <iterator>
#include <stdexcept>

namespace VexaSsl::test {

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator held("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(held), end(held)));
}

int breakpoints() {
    return 0;
}

unsigned long processNumber() {
    return static_cast<unsigned long>(::getpid());
}

std::filesystem::path makeTemporaryFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "vexassl-integration-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("can't make a temporary folder");
    }
    return pattern;
}

std::string missingAbility(Ability ability) {
    if (ability == Ability::actAsAnotherUser && ::geteuid() != 0) {
        return "only the superuser can start a process as another user";
    }
    return {};
}

bool renameMachineOfThisThread(const std::string& name) {
    return ::unshare(CLONE_NEWUTS) == 0 && ::sethostname(name.c_str(), name.size()) == 0;
}

namespace {

std::string readAll(int pipe) {
    std::string text;
    std::array<char, 4096> buffer;
    for (ssize_t got = 0; (got = ::read(pipe, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return text;
}

[[noreturn]] void workAsNobody(const std::function<std::string()>& work, int pipe) {
    constexpr uid_t nobody = 65534;
    if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) {
        ::_exit(3);
    }
    const std::string said = work();
    const bool whole = ::write(pipe, said.data(), said.size()) == static_cast<ssize_t>(said.size());
    ::_exit(whole ? 0 : 4);
}

} // namespace

std::optional<std::string> runAsAnotherUser(const std::function<std::string()>& work) {
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) {
        return std::nullopt;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        workAsNobody(work, pipe[1]);
    }
    ::close(pipe[1]);
    std::string said = readAll(pipe[0]);
    ::close(pipe[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? std::optional(said) : std::nullopt;
}

} // namespace VexaSsl::test
