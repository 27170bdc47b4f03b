#include "serve/ThrottledMessages.h"
#include <chrono>
#include <cstddef>
#include <string>

namespace VexaSsl::tool {

namespace {

constexpr std::chrono::minutes quietTime{1};
// Texts hold no names or numbers of peers, so there are few. When a system has more, all may be
// printed again.
constexpr std::size_t mostTexts = 100;

} // namespace

void ThrottledMessages::print(const std::string& text) {
    const auto now = Clock::now();
    const auto before = lastPrinted.find(text);
    if (before != lastPrinted.end() && now - before->second < quietTime) {
        return;
    }
    if (lastPrinted.size() >= mostTexts) {
        lastPrinted.clear();
    }
    lastPrinted[text] = now;
    printer.print("vexassl: " + text);
}

} // namespace VexaSsl::tool
