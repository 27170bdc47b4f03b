#include "common/StandardStreams.h"

#include "VexaSsl/Sockets.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace VexaSsl::tool {

namespace {

// The most that one call of the system takes.
constexpr std::size_t largestPiece = std::size_t{1} << 20;

// State shared by the reading thread and the reader; the thread keeps it alive.
struct Pipeline {
    std::mutex mutex;
    std::condition_variable changed;
    std::array<char, 32768> piece{};
    std::size_t begin = 0;
    std::size_t end = 0;
    bool isWanted = false;
    bool hasEnded = false;
    bool hasFailed = false;
    bool isCancelled = false;
};

struct Piece {
    std::size_t size = 0; // 0 at the end of the input and on an error
    bool hasFailed = false;
};

// A pipe whose writers have closed reports an error of its own.
bool isEndOfInput(DWORD error) {
    return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF;
}

Piece readPiece(char* buffer, std::size_t size) {
    DWORD count = 0;
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    if (ReadFile(input, buffer, static_cast<DWORD>(size), &count, nullptr) == FALSE) {
        return {0, !isEndOfInput(GetLastError())};
    }
    return {count, false};
}

bool isFile(HANDLE input) {
    return GetFileType(input) == FILE_TYPE_DISK;
}

bool hasRestOfFile(HANDLE input) {
    LARGE_INTEGER place{};
    LARGE_INTEGER size{};
    return SetFilePointerEx(input, {}, &place, FILE_CURRENT) != FALSE &&
           GetFileSizeEx(input, &size) != FALSE && place.QuadPart < size.QuadPart;
}

// Reads a piece when asked to, until the input ends.
void feed(Pipeline& pipeline) {
    std::unique_lock lock(pipeline.mutex);
    while (!pipeline.hasEnded) {
        pipeline.changed.wait(lock, [&] { return pipeline.isWanted; });
        lock.unlock();
        const Piece piece = readPiece(pipeline.piece.data(), pipeline.piece.size());
        lock.lock();
        pipeline.begin = 0;
        pipeline.end = piece.size;
        pipeline.isWanted = false;
        pipeline.hasEnded = piece.size == 0;
        pipeline.hasFailed = piece.hasFailed;
        pipeline.changed.notify_all();
    }
}

} // namespace

// A wait can't combine a console or a pipe with an event, so a thread reads. Nothing ends a waiting
// read: the thread ends with the process.
struct StandardInput::Source {
    Source() : pipeline(std::make_shared<Pipeline>()) {
        std::thread([shared = pipeline] { feed(*shared); }).detach();
    }

    std::shared_ptr<Pipeline> pipeline;
};

StandardInput::StandardInput() : source(std::make_unique<Source>()) {}

StandardInput::~StandardInput() = default;

std::size_t StandardInput::read(char* buffer, std::size_t size) {
    Pipeline& pipeline = *source->pipeline;
    std::unique_lock lock(pipeline.mutex);
    if (pipeline.begin == pipeline.end && !pipeline.hasEnded) {
        pipeline.isWanted = true;
        pipeline.changed.notify_all();
    }
    pipeline.changed.wait(lock, [&] { return pipeline.isCancelled || !pipeline.isWanted; });
    if (pipeline.isCancelled) {
        return 0;
    }
    const std::size_t count = std::min(size, pipeline.end - pipeline.begin);
    std::copy_n(pipeline.piece.data() + pipeline.begin, count, buffer);
    pipeline.begin += count;
    return count;
}

bool StandardInput::failed() const {
    const std::lock_guard lock(source->pipeline->mutex);
    return source->pipeline->hasFailed;
}

void StandardInput::cancel() {
    const std::lock_guard lock(source->pipeline->mutex);
    source->pipeline->isCancelled = true;
    source->pipeline->changed.notify_all();
}

bool StandardInput::cancelled() const {
    const std::lock_guard lock(source->pipeline->mutex);
    return source->pipeline->isCancelled;
}

bool StandardInput::hasMore() {
    Pipeline& pipeline = *source->pipeline;
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    std::unique_lock lock(pipeline.mutex);
    if (isFile(input)) { // its reads don't wait
        pipeline.changed.wait(lock, [&] { return !pipeline.isWanted; });
    }
    if (pipeline.begin != pipeline.end) {
        return true;
    }
    if (isFile(input)) {
        return hasRestOfFile(input);
    }
    if (pipeline.isWanted) {
        return false; // the thread waits in its read, and a query on the pipe would wait too
    }
    DWORD waiting = 0; // stays 0 unless it is a pipe
    PeekNamedPipe(input, nullptr, 0, nullptr, &waiting, nullptr);
    return waiting > 0;
}

bool writeStandardOutput(const char* data, std::size_t size) {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    while (size > 0) {
        DWORD count = 0;
        const auto piece = static_cast<DWORD>(std::min(size, largestPiece));
        if (WriteFile(output, data, piece, &count, nullptr) == FALSE || count == 0) {
            return false;
        }
        data += count;
        size -= count;
    }
    return true;
}

} // namespace VexaSsl::tool
