#include "serve/ThrottledMessages.h"
#include <chrono>
#include <cstddef>
#include <string>

namespace VexaSsl::tool {

namespace {

constexpr std::chrono::minutes quietTime{1};
// Texts hold no names or numbers of peers, so there are few; should a system have more, all
// may be told again.
constexpr std::size_t mostTexts = 100;

} // namespace

void ThrottledMessages::tell(const std::string& text) {
    const auto now = Clock::now();
    const auto before = told.find(text);
    if (before != told.end() && now - before->second < quietTime) {
        return;
    }
    if (told.size() >= mostTexts) {
        told.clear();
    }
    told[text] = now;
    printer.print("vexassl: " + text);
}

} // namespace VexaSsl::tool
