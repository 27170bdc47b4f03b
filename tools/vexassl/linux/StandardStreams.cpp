#include "common/StandardStreams.h"

#include "common/ExitStatus.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <memory>

namespace VexaSsl::tool {

namespace {

// Waits without a limit when milliseconds is -1.
void waitForInput(pollfd* descriptors, nfds_t count, int milliseconds) {
    while (::poll(descriptors, count, milliseconds) < 0 && errno == EINTR) {
    }
}

// Returns what read returned.
ssize_t readOnce(char* buffer, std::size_t size) {
    while (true) {
        const ssize_t count = ::read(STDIN_FILENO, buffer, size);
        if (count >= 0 || errno != EINTR) {
            return count;
        }
    }
}

// Another process that shares the input, and made it non-blocking, may have taken what was ready.
bool isTakenByOthers(ssize_t count) {
    return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

} // namespace

// A pipe that wakes a waiting read.
struct StandardInput::Source {
    Source() {
        int ends[2] = {-1, -1};
        if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
            throw Failure(ExitStatus::Usage, "no file descriptor left");
        }
        wakeReader = ends[0];
        wakeWriter = ends[1];
    }
    ~Source() {
        ::close(wakeReader);
        ::close(wakeWriter);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    int wakeReader = -1;
    int wakeWriter = -1;
    bool hasFailed = false;
};

StandardInput::StandardInput() : source(std::make_unique<Source>()) {}

StandardInput::~StandardInput() = default;

std::size_t StandardInput::read(char* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        pollfd descriptors[2] = {{STDIN_FILENO, POLLIN, 0}, {source->wakeReader, POLLIN, 0}};
        waitForInput(descriptors, 2, -1);
        if (descriptors[1].revents != 0) {
            return 0;
        }
        count = readOnce(buffer, size);
    } while (isTakenByOthers(count));
    source->hasFailed = count < 0;
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

bool StandardInput::failed() const {
    return source->hasFailed;
}

void StandardInput::cancel() {
    // The pipe is empty, so only an interruption can keep the byte out.
    while (::write(source->wakeWriter, "", 1) < 0 && errno == EINTR) {
    }
}

bool StandardInput::cancelled() const {
    pollfd wake = {source->wakeReader, POLLIN, 0};
    waitForInput(&wake, 1, 0);
    return wake.revents != 0;
}

bool StandardInput::hasMore() {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    waitForInput(&input, 1, 0);
    char byte = 0;
    return input.revents != 0 && readOnce(&byte, 1) > 0;
}

bool writeStandardOutput(const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(STDOUT_FILENO, data, size);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace VexaSsl::tool
