// Version records, which shapes/VersionRecord.h describes.
#include "platform/contract/WindowsBase.h"

#include "VersionRecord.h"
#include "platform/linux/base/BaseErrors.h"
#include "platform/linux/base/FileSection.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

namespace VexaSsl::linux {
namespace {

constexpr DWORD errorResourceDataNotFound = 1812;
constexpr DWORD errorResourceTypeNotFound = 1813;
constexpr std::size_t maxRecordSize = 1 << 16;

// Returns the record; empty when the file has no valid one. Padding by a linker or a sanitizer at
// the end of the section is dropped.
std::string readRecord(const char* fileName) {
    std::string record = readSection(fileName, VEXASSL_VERSION_SECTION, maxRecordSize);
    VersionRecordHeader header;
    if (record.size() < sizeof header) {
        return {};
    }
    std::copy_n(record.data(), sizeof header, reinterpret_cast<char*>(&header));
    if (header.size <= sizeof header || header.size > record.size()) {
        return {};
    }
    record.resize(header.size);
    const bool isValid =
        record.back() == '\0' &&
        std::count(std::begin(header.translation), std::end(header.translation), '\0') > 0;
    return isValid ? record : std::string();
}

// Removes the first string from strings and returns it without its terminator.
std::string_view takeString(std::string_view& strings) {
    const std::string_view text = strings.substr(0, strings.find('\0'));
    strings.remove_prefix(std::min(text.size() + 1, strings.size()));
    return text;
}

// Returns the value that follows key, with its terminator; empty when the key or its value is
// missing.
std::string_view findValue(std::string_view strings, std::string_view key) {
    while (!strings.empty()) {
        const bool isMatch = takeString(strings) == key;
        if (strings.empty()) {
            return {};
        }
        const std::string_view value = takeString(strings);
        if (isMatch) {
            return {value.data(), value.size() + 1};
        }
    }
    return {};
}

// Returns the entry of the block at path; empty when it is missing.
std::string_view findEntry(std::string_view block, std::string_view path) {
    const auto& header = *reinterpret_cast<const VersionRecordHeader*>(block.data());
    if (path == "\\") {
        return {reinterpret_cast<const char*>(&header.fixed), sizeof header.fixed};
    }
    const std::string prefix = "\\StringFileInfo\\" + std::string(header.translation) + "\\";
    if (!path.starts_with(prefix)) {
        return {};
    }
    return findValue(block.substr(sizeof header), path.substr(prefix.size()));
}

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

DWORD GetFileVersionInfoSizeA(const char* fileName, DWORD* ignored) {
    if (ignored) {
        *ignored = 0;
    }
    return guarded(DWORD{0}, [&] {
        const std::string record = fileName ? readRecord(fileName) : std::string();
        return record.empty() ? failWith(errorResourceDataNotFound, DWORD{0})
                              : static_cast<DWORD>(record.size());
    });
}

BOOL GetFileVersionInfoA(const char* fileName, DWORD, DWORD size, void* block) {
    return guarded(BOOL{FALSE}, [&]() -> BOOL {
        const std::string record = fileName ? readRecord(fileName) : std::string();
        if (record.empty()) {
            return failWith(errorResourceDataNotFound, FALSE);
        }
        // The file may have been replaced since GetFileVersionInfoSizeA.
        if (!block || size < record.size()) {
            return failWith(ERROR_INSUFFICIENT_BUFFER, FALSE);
        }
        std::copy(record.begin(), record.end(), static_cast<char*>(block));
        return TRUE;
    });
}

BOOL VerQueryValueA(const void* block, const char* path, void** value, UINT* length) {
    if (!block || !path || !value || !length) {
        return failWith(errorInvalidParameter, FALSE);
    }
    return guarded(BOOL{FALSE}, [&]() -> BOOL {
        const auto& header = *static_cast<const VersionRecordHeader*>(block);
        const std::string_view found =
            findEntry({static_cast<const char*>(block), header.size}, path);
        if (found.empty()) {
            return failWith(errorResourceTypeNotFound, FALSE);
        }
        *value = const_cast<char*>(found.data());
        *length = static_cast<UINT>(found.size());
        return TRUE;
    });
}

} // namespace VexaSsl::platform
