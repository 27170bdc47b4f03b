#include "platform/openssl/stores/Terminal.h"

#include "platform/linux/base/Utf8.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>

namespace VexaSsl::openssl {

Terminal::Terminal() noexcept {
    do {
        descriptor = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
}

Terminal::~Terminal() {
    if (isOpen()) {
        close(descriptor);
    }
}

void Terminal::writeLine(const std::wstring& text) const {
    const std::string bytes = linux::wideToUtf8(text) + '\n';
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return;
        }
        written += static_cast<std::size_t>(count);
    }
}

std::optional<std::string> Terminal::readLine() const {
    constexpr std::size_t maxAnswerLength = 80;
    std::string line;
    for (;;) {
        char byte = 0;
        const ssize_t count = read(descriptor, &byte, 1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return std::nullopt;
        }
        if (byte == '\n') {
            return line;
        }
        if (line.size() < maxAnswerLength) {
            line += byte;
        }
    }
}

} // namespace VexaSsl::openssl
