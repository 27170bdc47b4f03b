#include "integration/support/System.h"

#include <stdexcept>

namespace VexaSsl::test {

std::size_t openDescriptors() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

unsigned long processNumber() {
    return GetCurrentProcessId();
}

std::filesystem::path makeTemporaryFolder() {
    const auto above = std::filesystem::temp_directory_path();
    const std::string name = "vexassl-integration-" + std::to_string(processNumber()) + "-";
    for (int number = 0; number < 1000; ++number) {
        auto folder = above / (name + std::to_string(number));
        if (std::filesystem::create_directory(folder)) {
            return folder;
        }
    }
    throw std::runtime_error("can't make a temporary folder");
}

bool renameMachineOfThisThread(const std::string&) {
    return false;
}

std::optional<std::string> runAsAnotherUser(const std::function<std::string()>&) {
    return std::nullopt;
}

} // namespace VexaSsl::test
