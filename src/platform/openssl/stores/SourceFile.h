// Reading the files of a certificate folder, and telling later by one stat call whether a file is
// still what it was.
//
// The files are taken as hostile: a read is bounded, and what isn't a regular file is refused
// without waiting for it. Plain values; any thread may use them.
#pragma once

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
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
    void cut(std::size_t size) { bytes.resize(size); } // only ever shorter

private:
    std::vector<unsigned char> bytes;
};

enum class FileOutcome {
    read,
    missing,
    denied,    // this account may not read it
    unusable,  // not a regular file, or too large
    temporary, // the process has run out of descriptors or memory, or the disk failed
};

// What changes when the file behind a path does.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0; // nanoseconds since the epoch, as is changed
    std::int64_t changed = 0;

    bool operator==(const FileStamp&) const = default;
};

struct FileText {
    std::filesystem::path path;
    FileOutcome outcome = FileOutcome::missing;
    FileStamp stamp;
    SecretBytes bytes;
};

// Never throws for a bad file: the outcome tells. A file of more than limit bytes is unusable.
FileText readFile(const std::filesystem::path& path, std::size_t limit);

FileStamp stampOf(const struct stat& status) noexcept;
// The outcome that an errno of open, stat or opendir stands for.
FileOutcome outcomeOfErrno(int error) noexcept;
// As stat, whatever signals come. Result: 0, or -1 with errno.
int factsOf(const std::filesystem::path& path, struct stat& facts) noexcept;

using Digest = std::array<unsigned char, 32>;

// A file or folder as it was read, without its content.
struct Source {
    std::filesystem::path path;
    FileOutcome outcome = FileOutcome::missing;
    FileStamp stamp;
    Digest digest{};
    // False while the stamp can't be relied on: the file was written so shortly before it was read
    // that another write could have left the same times, or the outcome may change without the
    // file.
    bool settled = false;

    // The same bytes, whatever the times say.
    bool hasContentOf(const Source& other) const noexcept {
        return outcome == other.outcome && digest == other.digest;
    }
};

Source sourceOf(const FileText& file);
Source sourceOfFolder(const std::filesystem::path& folder, FileOutcome outcome,
                      const FileStamp& stamp);

// True when the source is settled and one stat call finds it as it was.
bool isUnchanged(const Source& source) noexcept;

} // namespace VexaSsl::openssl
