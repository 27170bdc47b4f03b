#include "starttls/BufferedReader.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t bufferSize = 4096;

} // namespace

BufferedReader::Outcome BufferedReader::readLine(std::size_t longest, std::string& line) {
    const Outcome outcome = readPiece(longest, line);
    return outcome == Outcome::Success && line.back() != '\n' ? Outcome::TooLong : outcome;
}

BufferedReader::Outcome BufferedReader::readPiece(std::size_t longest, std::string& piece) {
    std::size_t searched = 0;
    while (true) {
        const std::size_t end = held.find('\n', searched);
        const std::size_t size = end == std::string::npos ? held.size() : end + 1;
        if (end != std::string::npos || size >= longest) {
            piece = take(std::min(size, longest));
            return Outcome::Success;
        }
        searched = size;
        if (const Outcome outcome = receiveMore(); outcome != Outcome::Success) {
            return outcome;
        }
    }
}

BufferedReader::Outcome BufferedReader::readBytes(std::size_t count, std::string& bytes) {
    while (held.size() < count) {
        if (const Outcome outcome = receiveMore(); outcome != Outcome::Success) {
            return outcome;
        }
    }
    bytes = take(count);
    return Outcome::Success;
}

BufferedReader::Outcome BufferedReader::receiveMore() {
    std::array<char, bufferSize> buffer;
    const int count = receiver.receive(buffer.data(), static_cast<int>(buffer.size()));
    if (count <= 0) {
        return receiver.end() == StreamEnd::Closed ? Outcome::Ended : Outcome::Failed;
    }
    held.append(buffer.data(), static_cast<std::size_t>(count));
    return Outcome::Success;
}

std::string BufferedReader::take(std::size_t count) {
    std::string taken = held.substr(0, count);
    held.erase(0, count);
    return taken;
}

} // namespace VexaSsl::tool
