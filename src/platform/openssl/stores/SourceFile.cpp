#include "platform/openssl/stores/SourceFile.h"

#include "platform/linux/base/BoundedFile.h"

#include <openssl/crypto.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string_view>
#include <utility>

namespace VexaSsl::openssl {
namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
// Longer than the coarsest time stamp of a usual file system.
constexpr std::int64_t settlingTime = 2 * nanosecondsPerSecond;

std::int64_t nanoseconds(const timespec& time) noexcept {
    return std::int64_t{time.tv_sec} * nanosecondsPerSecond + time.tv_nsec;
}

// A time in the future says nothing about when the file was written; waiting for it to pass would
// mean reading the file anew for every connection until then.
bool isSettled(const FileStamp& stamp) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t age = nanoseconds(now) - std::max(stamp.modified, stamp.changed);
    return age > settlingTime || age < -settlingTime;
}

// Result: as fstat. Network file systems let signals interrupt it.
int factsOf(int descriptor, struct stat& facts) noexcept {
    int result = 0;
    do {
        result = fstat(descriptor, &facts);
    } while (result != 0 && errno == EINTR);
    return result;
}

bool mayChangeWithoutTheFile(FileOutcome outcome) noexcept {
    return outcome == FileOutcome::denied || outcome == FileOutcome::temporary;
}

} // namespace

SecretBytes::~SecretBytes() {
    OPENSSL_cleanse(bytes.data(), bytes.size());
}

SecretBytes& SecretBytes::operator=(SecretBytes&& other) noexcept {
    std::swap(bytes, other.bytes);
    return *this;
}

std::string_view SecretBytes::text() const noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

FileStamp stampOf(const struct stat& status) noexcept {
    return {status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
            nanoseconds(status.st_ctim)};
}

FileOutcome outcomeOfErrno(int error) noexcept {
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return FileOutcome::missing;
    case EACCES:
    case EPERM:
        return FileOutcome::denied;
    case ELOOP:
    case ENAMETOOLONG:
    case EOVERFLOW:
    case ENXIO:
    case ENODEV:
    case EINVAL:
        return FileOutcome::unusable;
    default: // the process or the system is short of something, or the disk fails
        return FileOutcome::temporary;
    }
}

int factsOf(const std::filesystem::path& path, struct stat& facts) noexcept {
    int result = 0;
    do {
        result = stat(path.c_str(), &facts);
    } while (result != 0 && errno == EINTR);
    return result;
}

FileText readFile(const std::filesystem::path& path, std::size_t limit) {
    FileText file;
    file.path = path;
    const linux::Descriptor descriptor = linux::openForReading(path.c_str());
    struct stat status {};
    if (!descriptor || factsOf(descriptor.get(), status) != 0) {
        file.outcome = outcomeOfErrno(errno);
        if (factsOf(path, status) == 0) {
            file.stamp = stampOf(status);
        }
        return file;
    }
    file.stamp = stampOf(status);
    if (!S_ISREG(status.st_mode) || status.st_size > static_cast<std::int64_t>(limit)) {
        file.outcome = FileOutcome::unusable;
        return file;
    }
    // One byte of room shows a file that has grown since.
    file.bytes = SecretBytes(static_cast<std::size_t>(status.st_size) + 1);
    std::size_t filled = 0;
    const bool complete =
        linux::readUpTo(descriptor.get(), file.bytes.data(), file.bytes.size(), filled);
    file.bytes.cut(filled);
    file.outcome = complete ? FileOutcome::read : FileOutcome::temporary;
    return file;
}

Source sourceOf(const FileText& file) {
    Source source{file.path, file.outcome, file.stamp, {}, false};
    if (file.outcome == FileOutcome::read) {
        const std::string_view text = file.bytes.text();
        SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(),
               source.digest.data());
    }
    source.settled = !mayChangeWithoutTheFile(file.outcome) &&
                     (file.outcome == FileOutcome::missing || isSettled(file.stamp));
    return source;
}

Source sourceOfFolder(const std::filesystem::path& folder, FileOutcome outcome,
                      const FileStamp& stamp) {
    const bool settled =
        !mayChangeWithoutTheFile(outcome) && (outcome == FileOutcome::missing || isSettled(stamp));
    return {folder, outcome, stamp, {}, settled};
}

bool isUnchanged(const Source& source) noexcept {
    if (!source.settled) {
        return false;
    }
    struct stat status {};
    if (factsOf(source.path, status) != 0) {
        return source.outcome == FileOutcome::missing &&
               outcomeOfErrno(errno) == FileOutcome::missing;
    }
    return source.outcome != FileOutcome::missing && source.stamp == stampOf(status);
}

} // namespace VexaSsl::openssl
