// Reads the server's side of a TLS 1.2 handshake, which is in the clear, to learn what it asked
// for: a refusal of our certificate looks like an ordinary end.
//
// Used by the thread that receives, then read by others.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace VexaSsl::tool {

class HandshakeWatch {
public:
    // The next byte received is the first one of a handshake.
    void start() { *this = HandshakeWatch(true); }
    void received(std::string_view bytes);

    bool certificateRequested() const { return requested; }

    HandshakeWatch() = default;

private:
    explicit HandshakeWatch(bool active) : active(active) {}
    void readRecordHeader(std::uint8_t byte);
    void readMessage(std::uint8_t byte);

    bool active = false;
    bool requested = false;
    std::array<std::uint8_t, 5> recordHeader{};
    std::size_t recordHeaderSize = 0;
    std::size_t recordLeft = 0;
    std::array<std::uint8_t, 4> messageHeader{};
    std::size_t messageHeaderSize = 0;
    std::size_t messageLeft = 0;
};

} // namespace VexaSsl::tool
