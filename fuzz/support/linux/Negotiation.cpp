#include "Negotiation.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

namespace VexaSsl::fuzz {

namespace {

constexpr char handshakeRecord = 22;
constexpr char changeOfCipher = 20;

std::string recordFlights(Role role, bool mutual) {
    LibrarySide side(role, mutual);
    MemoryPeer peer(role == Role::Client ? Role::Server : Role::Client, mutual);
    require(side.secureWith(peer) && peer.isEstablished(),
            "a handshake with an honest peer succeeds");
    require(side.wire->taken == side.wire->incoming.size(), "nothing follows its end");
    return side.wire->incoming;
}

std::size_t sizeAt(std::string_view bytes, std::size_t place) {
    const auto at = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    return static_cast<std::size_t>(at(place)) << 8 | at(place + 1);
}

// Removes the first handshake message, or its part, from the front and returns it.
std::string_view takeMessage(std::string_view& messages) {
    constexpr std::size_t headerSize = 4;
    const std::size_t size =
        messages.size() < headerSize
            ? messages.size()
            : headerSize +
                  (static_cast<std::size_t>(static_cast<unsigned char>(messages[1])) << 16) +
                  sizeAt(messages, 2);
    const std::string_view message = messages.substr(0, size);
    messages.remove_prefix(message.size());
    return message;
}

// Returns the messages of a handshake, independent of their records and without what both ends
// ignore. The record that follows ChangeCipherSpec counts as one message.
std::string messagesOf(std::string_view flights) {
    constexpr std::size_t headerSize = 5;
    std::string clear;
    std::string protectedPart;
    bool isProtected = false;
    while (flights.size() >= headerSize) {
        const std::size_t size = sizeAt(flights, 3);
        const char type = flights[0];
        if (type == handshakeRecord) {
            (isProtected ? protectedPart : clear) += flights.substr(headerSize, size);
        }
        isProtected = isProtected || type == changeOfCipher;
        flights.remove_prefix(std::min(headerSize + size, flights.size()));
    }
    std::string result;
    for (std::string_view left = clear; !left.empty();) {
        const std::string_view message = takeMessage(left);
        constexpr char helloRequest = 0;
        if (message[0] != helloRequest) {
            result += message;
        }
    }
    return result + protectedPart;
}

} // namespace

const std::string& honestFlights(Role role, bool mutual) {
    static std::map<std::pair<Role, bool>, std::string> known;
    std::string& flights = known[{role, mutual}];
    if (flights.empty()) {
        // Objects that are created once in a process use random numbers, so the first run differs.
        recordFlights(role, mutual);
        flights = recordFlights(role, mutual);
        LibrarySide again(role, mutual);
        again.wire->incoming = flights;
        require(again.secure(), "the same messages lead to a connection again");
    }
    return flights;
}

int negotiate(Role role, const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::size_t choice = input.byte();
    const bool mutual = choice % 2 != 0;
    const std::string& honest = honestFlights(role, mutual);
    LibrarySide side(role, mutual);
    side.wire->incoming = input.rest();
    side.wire->pieceSizes.assign(1, static_cast<char>(choice >> 1 << 1));
    const bool isSecured = side.secure();
    const std::string_view read = std::string_view(side.wire->incoming).substr(0, side.wire->taken);
    require(side.wire->reads <= size + 2, "every read but the last returns bytes");
    constexpr std::size_t maxRead = 10'000 + 65'540; // the buffer and one record
    require(side.wire->largestRead <= maxRead, "the buffer grows by at most one record");
    require(isSecured == side.log.errors.empty(), "exactly a failure is logged");
    if (!isSecured) {
        require(side.strategy->securedConnection() == nullptr, "a failure leaves no connection");
        return 0;
    }
    require(messagesOf(read) == messagesOf(honest), "no connection without the keys");
    char byte = 0;
    require(side.strategy->recv(Wire::socket, &byte, 1, 0) <= 0, "no unsealed data is delivered");
    return 0;
}

} // namespace VexaSsl::fuzz
