// Version records: a section of the file, which VersionRecord.h describes.
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

inline constexpr DWORD errorNoVersionRecord = 1812; // ERROR_RESOURCE_DATA_NOT_FOUND
inline constexpr DWORD errorNoVersionEntry = 1813;  // ERROR_RESOURCE_TYPE_NOT_FOUND
constexpr std::size_t largestRecord = 1 << 16;

// Empty when the file has no record, or one that contradicts itself. What a linker or a sanitizer
// leaves behind the record in its section doesn't count.
std::string readRecord(const char* fileName) {
    std::string record = readSection(fileName, VEXASSL_VERSION_SECTION, largestRecord);
    VersionRecordHead head;
    if (record.size() < sizeof head) {
        return {};
    }
    std::copy_n(record.data(), sizeof head, reinterpret_cast<char*>(&head));
    if (head.size <= sizeof head || head.size > record.size()) {
        return {};
    }
    record.resize(head.size);
    const bool isSound = record.back() == '\0' && std::count(std::begin(head.translation),
                                                             std::end(head.translation), '\0') > 0;
    return isSound ? record : std::string();
}

std::string_view takeText(std::string_view& row) {
    const std::string_view text = row.substr(0, row.find('\0'));
    row.remove_prefix(std::min(text.size() + 1, row.size()));
    return text;
}

// The value behind a key, with its end; empty when there is no such key, or nothing behind it.
std::string_view findValue(std::string_view texts, std::string_view key) {
    while (!texts.empty()) {
        const bool isFound = takeText(texts) == key;
        if (texts.empty()) {
            return {};
        }
        const std::string_view value = takeText(texts);
        if (isFound) {
            return {value.data(), value.size() + 1};
        }
    }
    return {};
}

// What path leads to, in the block; empty when it leads nowhere.
std::string_view findEntry(std::string_view block, std::string_view path) {
    const auto& head = *reinterpret_cast<const VersionRecordHead*>(block.data());
    if (path == "\\") {
        return {reinterpret_cast<const char*>(&head.fixed), sizeof head.fixed};
    }
    const std::string prefix = "\\StringFileInfo\\" + std::string(head.translation) + "\\";
    if (!path.starts_with(prefix)) {
        return {};
    }
    return findValue(block.substr(sizeof head), path.substr(prefix.size()));
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
        return record.empty() ? failWith(errorNoVersionRecord, DWORD{0})
                              : static_cast<DWORD>(record.size());
    });
}

BOOL GetFileVersionInfoA(const char* fileName, DWORD, DWORD size, void* block) {
    return guarded(BOOL{FALSE}, [&]() -> BOOL {
        const std::string record = fileName ? readRecord(fileName) : std::string();
        if (record.empty()) {
            return failWith(errorNoVersionRecord, FALSE);
        }
        if (!block ||
            size < record.size()) { // the file may have been replaced since it was measured
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
        const auto& head = *static_cast<const VersionRecordHead*>(block);
        const std::string_view found =
            findEntry({static_cast<const char*>(block), head.size}, path);
        if (found.empty()) {
            return failWith(errorNoVersionEntry, FALSE);
        }
        *value = const_cast<char*>(found.data());
        *length = static_cast<UINT>(found.size());
        return TRUE;
    });
}

} // namespace VexaSsl::platform
