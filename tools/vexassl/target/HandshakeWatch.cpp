#include "target/HandshakeWatch.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace VexaSsl::tool {

namespace {

constexpr std::uint8_t handshakeRecord = 22;
constexpr std::uint8_t certificateRequest = 13;
constexpr std::uint8_t serverHelloDone = 14;

} // namespace

void HandshakeWatch::received(std::string_view bytes) {
    for (const char byte : bytes) {
        if (!active) {
            return;
        }
        if (recordLeft == 0) {
            readRecordHeader(static_cast<std::uint8_t>(byte));
        } else {
            --recordLeft;
            readMessage(static_cast<std::uint8_t>(byte));
        }
    }
}

// Ends at anything but a handshake, an alert for instance.
void HandshakeWatch::readRecordHeader(std::uint8_t byte) {
    recordHeader[recordHeaderSize++] = byte;
    active = recordHeader[0] == handshakeRecord;
    if (recordHeaderSize == recordHeader.size()) {
        recordHeaderSize = 0;
        recordLeft = std::size_t{recordHeader[3]} << 8 | recordHeader[4];
    }
}

// Messages and records begin and end independently of each other.
void HandshakeWatch::readMessage(std::uint8_t byte) {
    if (messageLeft > 0) {
        --messageLeft;
        return;
    }
    messageHeader[messageHeaderSize++] = byte;
    if (messageHeaderSize == messageHeader.size()) {
        messageHeaderSize = 0;
        messageLeft = std::size_t{messageHeader[1]} << 16 | std::size_t{messageHeader[2]} << 8 |
                      messageHeader[3];
        requested = requested || messageHeader[0] == certificateRequest;
        active = messageHeader[0] != serverHelloDone;
    }
}

} // namespace VexaSsl::tool
