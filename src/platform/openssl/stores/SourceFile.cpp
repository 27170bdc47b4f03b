#include "platform/openssl/stores/SourceFile.h"

#include "platform/linux/base/BoundedFile.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <openssl/crypto.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

namespace VexaSsl::openssl {
namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
// Longer than the coarsest timestamp resolution of common file systems.
constexpr std::int64_t minimumAge = 2 * nanosecondsPerSecond;

std::int64_t nanoseconds(const timespec& time) noexcept {
    return std::int64_t{time.tv_sec} * nanosecondsPerSecond + time.tv_nsec;
}

// A timestamp is unreliable while another write could leave the same one. One further in the future
// counts as reliable: otherwise the file would be read for every connection until that time.
bool isReliable(const FileStamp& stamp) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t age = nanoseconds(now) - std::max(stamp.modified, stamp.changed);
    return age > minimumAge || age < -minimumAge;
}

// Returns as fstat does; a signal can interrupt fstat on a network file system.
int statRetrying(int descriptor, struct stat& status) noexcept {
    int result = 0;
    do {
        result = fstat(descriptor, &status);
    } while (result != 0 && errno == EINTR);
    return result;
}

bool mayChangeWithFileUnchanged(FileOutcome outcome) noexcept {
    return outcome == FileOutcome::denied || outcome == FileOutcome::temporary;
}

bool isReliable(FileOutcome outcome, const FileStamp& stamp) noexcept {
    return !mayChangeWithFileUnchanged(outcome) &&
           (outcome == FileOutcome::missing || isReliable(stamp));
}

// Returns nothing when OpenSSL can't compute it.
std::optional<Digest> digestOf(std::string_view text) noexcept {
    const ErrorQueueGuard errors;
    Digest digest;
    const bool isComputed =
        SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
    return isComputed ? std::optional(digest) : std::nullopt;
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
    default: // lack of resources or an I/O error
        return FileOutcome::temporary;
    }
}

int statRetrying(const std::filesystem::path& path, struct stat& status) noexcept {
    int result = 0;
    do {
        result = stat(path.c_str(), &status);
    } while (result != 0 && errno == EINTR);
    return result;
}

FileContents readFile(const std::filesystem::path& path, std::size_t limit) {
    FileContents file;
    file.path = path;
    const linux::Descriptor descriptor = linux::openForReading(path.c_str());
    struct stat status {};
    if (!descriptor || statRetrying(descriptor.get(), status) != 0) {
        file.outcome = outcomeOfErrno(errno);
        if (statRetrying(path, status) == 0) {
            file.stamp = stampOf(status);
        }
        return file;
    }
    file.stamp = stampOf(status);
    if (!S_ISREG(status.st_mode) || status.st_size > static_cast<std::int64_t>(limit)) {
        file.outcome = FileOutcome::unusable;
        return file;
    }
    // One more byte, so that a file that has grown since differs.
    file.bytes = SecretBytes(static_cast<std::size_t>(status.st_size) + 1);
    std::size_t filled = 0;
    const bool isComplete =
        linux::readUpTo(descriptor.get(), file.bytes.data(), file.bytes.size(), filled);
    file.bytes.truncate(filled);
    file.outcome = isComplete ? FileOutcome::read : FileOutcome::temporary;
    return file;
}

Source sourceOf(const FileContents& file) {
    return {file.path, file.outcome, file.stamp, digestOf(file.bytes.text()),
            isReliable(file.outcome, file.stamp)};
}

Source sourceOfFolder(const std::filesystem::path& folder, FileOutcome outcome,
                      const FileStamp& stamp) {
    return {folder, outcome, stamp, {}, isReliable(outcome, stamp)};
}

bool isUnchanged(const Source& source) noexcept {
    if (!source.stampIsReliable) {
        return false;
    }
    struct stat status {};
    if (statRetrying(source.path, status) != 0) {
        return source.outcome == FileOutcome::missing &&
               outcomeOfErrno(errno) == FileOutcome::missing;
    }
    return source.outcome != FileOutcome::missing && source.stamp == stampOf(status);
}

} // namespace VexaSsl::openssl
