#include "Harness.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

namespace VexaSsl::fuzz {

std::size_t Input::byte() {
    return take(1).empty() ? 0 : static_cast<unsigned char>(left.data()[-1]);
}

std::string_view Input::take(std::size_t count) {
    const std::string_view taken = left.substr(0, count);
    left.remove_prefix(taken.size());
    return taken;
}

std::string_view Input::takeTo(char mark) {
    const std::string_view taken = take(std::min(left.find(mark), left.size()));
    take(1);
    return taken;
}

std::wstring wideText(std::string_view bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += value < 0xFE ? static_cast<wchar_t>(value)
                             : static_cast<wchar_t>(L'\u2028' + (value - 0xFE));
    }
    return text;
}

void StrictLog::log(Severity severity, const std::wstring& text) {
    require(++lines <= maxLines, "the number of log lines is bounded");
    units += text.size();
    if (severity == Severity::Warning) {
        warnings.push_back(text);
    } else if (severity == Severity::Error || severity == Severity::Fatal) {
        errors.push_back(text);
    }
}

MemoryFile::MemoryFile() : descriptor(memfd_create("fuzz", MFD_CLOEXEC)) {
    require(descriptor >= 0, "memfd_create succeeds");
    name = "/proc/self/fd/" + std::to_string(descriptor);
}

MemoryFile::~MemoryFile() {
    close(descriptor);
}

void MemoryFile::write(std::string_view content) {
    const auto size = static_cast<ssize_t>(content.size());
    require(ftruncate(descriptor, size) == 0 &&
                pwrite(descriptor, content.data(), content.size(), 0) == size,
            "the memory file can be written");
}

} // namespace VexaSsl::fuzz
