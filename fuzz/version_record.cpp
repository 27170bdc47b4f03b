// The version record of an arbitrary file.
#include "Harness.h"
#include "VersionRecord.h"
#include "platform/contract/WindowsBase.h"

#include <vector>

namespace {

using namespace VexaSsl;
using fuzz::require;

void requireEntry(const std::vector<char>& block, const std::string& path) {
    void* value = nullptr;
    UINT length = 0;
    if (platform::VerQueryValueA(block.data(), path.c_str(), &value, &length) == 0) {
        return;
    }
    const char* const start = static_cast<const char*>(value);
    require(start >= block.data() && length > 0 && start + length <= block.data() + block.size(),
            "an entry is inside the record");
    require(path == "\\" || start[length - 1] == '\0', "a text is terminated");
    require(path != "\\" || length == sizeof(VS_FIXEDFILEINFO), "the fixed numbers are complete");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile file;
    file.write(fuzz::Input(data, size).rest());
    const char* const path = file.path().c_str();
    DWORD ignored = 1;
    const DWORD recordSize = platform::GetFileVersionInfoSizeA(path, &ignored);
    require(recordSize <= size && ignored == 0, "a record is part of the file");
    std::vector<char> block(recordSize);
    const BOOL isThere = platform::GetFileVersionInfoA(path, 0, recordSize, block.data());
    require((isThere != 0) == (recordSize != 0), "a record that has a size can be read");
    if (isThere == 0) {
        return 0;
    }
    require(platform::GetFileVersionInfoA(path, 0, recordSize - 1, block.data()) == 0,
            "a too small buffer is refused");
    const auto& head = *reinterpret_cast<const VersionRecordHeader*>(block.data());
    require(head.size == recordSize, "the record has its own size");
    const std::string texts = "\\StringFileInfo\\" + std::string(head.translation) + "\\";
    for (const char* const key : {"FileVersion", "ProductName", ""}) {
        requireEntry(block, texts + key);
    }
    requireEntry(block, "\\");
    return 0;
}
