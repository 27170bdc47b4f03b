// Reads the files of a certificate folder, and detects later, by one stat call, whether a file has
// changed.
//
// The files are not trusted: reads are bounded, and a file that isn't a regular one is refused
// without waiting for it. Any thread.
#pragma once

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace VexaSsl::openssl {

// Bytes that may hold a private key; overwritten before they are freed.
class SecretBytes {
public:
    SecretBytes() = default;
    explicit SecretBytes(std::size_t size) : bytes(size) {}
    ~SecretBytes();
    SecretBytes(SecretBytes&&) noexcept = default;
    SecretBytes& operator=(SecretBytes&& other) noexcept;

    std::string_view text() const noexcept;
    unsigned char* data() noexcept { return bytes.data(); }
    std::size_t size() const noexcept { return bytes.size(); }
    void truncate(std::size_t size) { bytes.resize(size); } // size is at most size()

private:
    std::vector<unsigned char> bytes;
};

enum class FileOutcome {
    read,
    missing,
    denied,    // this account may not read it
    unusable,  // not a regular file, or too large
    temporary, // out of descriptors or memory, or an I/O error
};

// The facts about a file that change when it is written or replaced.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0; // nanoseconds since the epoch, as is changed
    std::int64_t changed = 0;

    bool operator==(const FileStamp&) const = default;
};

struct FileContents {
    std::filesystem::path path;
    FileOutcome outcome = FileOutcome::missing;
    FileStamp stamp;
    SecretBytes bytes;
};

// Reads a file of at most limit bytes; the outcome says whether it succeeded. Throws std::bad_alloc
// only.
FileContents readFile(const std::filesystem::path& path, std::size_t limit);

FileStamp stampOf(const struct stat& status) noexcept;
// Returns the outcome for an errno of open, stat or opendir.
FileOutcome outcomeOfErrno(int error) noexcept;
// Returns as stat does. Tries again after a signal.
int statRetrying(const std::filesystem::path& path, struct stat& status) noexcept;

using Digest = std::array<unsigned char, 32>;

// The state of a file or folder when it was read.
struct Source {
    std::filesystem::path path;
    FileOutcome outcome = FileOutcome::missing;
    FileStamp stamp;
    std::optional<Digest> digest; // of what was read; missing when OpenSSL can't compute it
    // False when the file was written so shortly before it was read that another write could leave
    // the same stamp, or when the outcome may change without the file.
    bool stampIsReliable = false;

    // Compares the bytes, not the times.
    bool hasContentOf(const Source& other) const noexcept {
        return outcome == other.outcome &&
               (outcome != FileOutcome::read || (digest && digest == other.digest));
    }
};

Source sourceOf(const FileContents& file);
Source sourceOfFolder(const std::filesystem::path& folder, FileOutcome outcome,
                      const FileStamp& stamp);

// Returns whether the stamp is reliable and stat returns the same one.
bool isUnchanged(const Source& source) noexcept;

} // namespace VexaSsl::openssl
