#include "ScratchFolder.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::array endingSignals = {SIGINT, SIGTERM, SIGHUP};

// What the folder holds, the folder first. The handler of signals reads it, so the signals are
// blocked while it changes.
std::vector<std::string>& madePaths() {
    static std::vector<std::string> paths;
    return paths;
}

class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t set;
        sigemptyset(&set);
        for (const int signal : endingSignals) {
            sigaddset(&set, signal);
        }
        pthread_sigmask(SIG_BLOCK, &set, &before);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t before{};
};

// Calls only what a handler of signals may call. The last path goes first.
void removePaths() {
    const std::vector<std::string>& paths = madePaths();
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
        if (::unlink(path->c_str()) != 0) {
            ::rmdir(path->c_str());
        }
    }
}

void removeAndEnd(int signal) {
    removePaths();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// A signal that the process was started to ignore stays ignored.
void catchSignals() {
    for (const int signal : endingSignals) {
        if (std::signal(signal, removeAndEnd) == SIG_IGN) {
            std::signal(signal, SIG_IGN);
        }
    }
}

void releaseSignals() {
    for (const int signal : endingSignals) {
        if (std::signal(signal, SIG_DFL) == SIG_IGN) {
            std::signal(signal, SIG_IGN);
        }
    }
}

void remember(const std::filesystem::path& path) {
    const BlockedSignals blocked;
    madePaths().push_back(path.native());
}

} // namespace

ScratchFolder::ScratchFolder() {
    std::string name =
        std::filesystem::absolute(std::filesystem::temp_directory_path()) / "vexassl-XXXXXX";
    catchSignals();
    const BlockedSignals blocked;
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::filesystem::filesystem_error("cannot make a temporary folder", name,
                                                std::error_code(errno, std::generic_category()));
    }
    folder = name;
    madePaths().push_back(name);
}

ScratchFolder::~ScratchFolder() {
    {
        const BlockedSignals blocked;
        removePaths();
        madePaths().clear();
    }
    releaseSignals();
}

void ScratchFolder::addFolder(const std::string& name) {
    remember(folder / name);
    std::filesystem::create_directory(folder / name);
}

void ScratchFolder::addLink(const std::string& name, const std::filesystem::path& target) {
    remember(folder / name);
    std::filesystem::create_symlink(target, folder / name);
}

} // namespace VexaSsl::tool
