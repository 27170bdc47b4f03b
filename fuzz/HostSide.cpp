#include "HostSide.h"

#include <algorithm>

namespace VexaSsl::fuzz {

namespace {

constexpr char untouched = '#';

// Returns whether bytes are one or several prefixes of text. (A peek that reads from the network
// copies again from the front.)
bool arePrefixes(std::string_view bytes, std::string_view text) {
    std::vector<bool> reached(text.size() + 1, false); // after the bytes so far
    reached[0] = true;
    for (const char byte : bytes) {
        std::vector<bool> next(text.size() + 1, false);
        const bool any = std::find(reached.begin(), reached.end(), true) != reached.end();
        for (std::size_t i = 0; i < text.size(); ++i) {
            if ((reached[i] || (i == 0 && any)) && text[i] == byte) {
                next[i + 1] = true;
            }
        }
        reached = std::move(next);
    }
    return std::find(reached.begin(), reached.end(), true) != reached.end();
}

} // namespace

HostSide::HostSide(SecureSocketStrategy& strategyUsed, Wire& wireBelow, const std::string& text,
                   Source kind)
    : strategy(strategyUsed), wire(wireBelow), source(text), isReleased(kind == Source::Released) {}

bool HostSide::step(Input& input) {
    switch (input.byte() % 10) {
    case 0:
        return receive(input.number() % 5000, 0);
    case 1:
        return receive(input.byte(), msgWaitAll);
    case 2:
        return peek(input.byte());
    case 3: {
        char byte = untouched;
        require(strategy.recv(Wire::socket, &byte, 1, msgPeek | msgWaitAll) == SOCKET_ERROR &&
                    byte == untouched,
                "msgPeek with msgWaitAll is refused");
        return true;
    }
    case 4:
        return select(input.byte() % 2 != 0);
    case 5:
    case 6:
        return post(input);
    case 7:
        return completePost(input);
    default:
        return receive(input.byte(), 0);
    }
}

void HostSide::drain() {
    Input nothing("");
    while (!posts.empty()) {
        if (!completePost(nothing)) {
            return;
        }
    }
    while (receive(1000, 0)) {
    }
}

bool HostSide::receive(std::size_t length, int flags) {
    std::string buffer(length, untouched);
    const int result = strategy.recv(Wire::socket, buffer.data(), static_cast<int>(length), flags);
    require(result >= SOCKET_ERROR && result <= static_cast<int>(length),
            "the result is within the buffer");
    if (result <= 0 && length != 0) {
        return failed(length);
    }
    const std::size_t count = static_cast<std::size_t>(result);
    require(buffer.find_first_not_of(untouched, count) == std::string::npos,
            "nothing is written after the result");
    return take(std::string_view(buffer).substr(0, count));
}

bool HostSide::peek(std::size_t length) {
    std::string buffer(length, untouched);
    const int result =
        strategy.recv(Wire::socket, buffer.data(), static_cast<int>(length), msgPeek);
    require(result >= SOCKET_ERROR && result <= static_cast<int>(length),
            "the result is within the buffer");
    if (result <= 0 && length != 0) {
        return failed(0);
    }
    const std::size_t count = static_cast<std::size_t>(result);
    require(slack != 0 || arePrefixes(std::string_view(buffer).substr(0, count),
                                      std::string_view(source).substr(consumed, length)),
            "a peek returns the next bytes");
    return requireHeld();
}

bool HostSide::select(bool withOthers) {
    fd_set readable{};
    readable.fd_array[readable.fd_count++] = Wire::socket;
    if (withOthers) {
        readable.fd_array[readable.fd_count++] = Wire::socket + 1;
    }
    const timeval noTime{};
    const int result = strategy.select(0, &readable, nullptr, nullptr, &noTime);
    if (result == SOCKET_ERROR) {
        return failed(0);
    }
    require(isForgotten || strategy.securedConnection()->plainBytes().empty() || result >= 1,
            "held plaintext is readable");
    return requireHeld();
}

bool HostSide::post(Input& input) {
    constexpr std::size_t mostPosts = 4;
    if (posts.size() == mostPosts) {
        return true;
    }
    auto posted = std::make_unique<Posted>();
    for (std::size_t left = 1 + input.byte() % 3; left != 0; --left) {
        posted->memory.emplace_back(input.byte(), untouched);
    }
    std::vector<WSABUF> buffers;
    for (std::string& memory : posted->memory) {
        buffers.push_back({static_cast<ULONG>(memory.size()), memory.data()});
    }
    DWORD received = 0;
    DWORD flags = 0;
    const int result =
        strategy.WSARecv(Wire::socket, buffers.data(), static_cast<DWORD>(buffers.size()),
                         &received, &flags, &posted->state, nullptr);
    require(result == SOCKET_ERROR && received == 0, "a posted receive is pending");
    posts.push_back(std::move(posted));
    return requireHeld();
}

// Receives complete in the order of posting, each with a number of bytes from the input.
bool HostSide::completePost(Input& input) {
    if (posts.empty()) {
        return true;
    }
    const std::unique_ptr<Posted> oldest = std::move(posts.front());
    posts.erase(posts.begin());
    const std::size_t most = input.number();
    const auto filled = static_cast<DWORD>(wire.fill(wire.posted.front(), most == 0 ? ~0U : most));
    wire.posted.erase(wire.posted.begin());
    DWORD transferred = filled;
    const int result = strategy.completeWSARecv(0, &transferred, nullptr);
    std::string gathered;
    for (const std::string& memory : oldest->memory) {
        gathered += memory;
    }
    require(transferred <= gathered.size(), "the result is within the buffer");
    if (result != 0) {
        require(transferred == 0, "a failure delivers no bytes");
        isForgotten = true;
        return failed(gathered.size());
    }
    require(gathered.find_first_not_of(untouched, transferred) == std::string::npos,
            "nothing is written after the result");
    return take(std::string_view(gathered).substr(0, transferred));
}

bool HostSide::take(std::string_view bytes) {
    require(comesNext(bytes), "the host receives what was sent, in order");
    consumed += bytes.size();
    return requireHeld();
}

// Returns whether the bytes are the next ones of the source, after up to slack lost ones.
bool HostSide::comesNext(std::string_view bytes) const {
    for (std::size_t from = consumed; from <= consumed + slack && from <= source.size(); ++from) {
        if (std::string_view(source).substr(from, bytes.size()) == bytes) {
            return true;
        }
    }
    return false;
}

// The bytes held must follow those that the host has received.
bool HostSide::requireHeld() const {
    const auto plain = strategy.securedConnection()->plainBytes();
    const std::string_view held(plain.data(), plain.size());
    require(comesNext(held), "the bytes held are the next ones");
    require(!isReleased || consumed + held.size() == source.size(), "no released byte is lost");
    return true;
}

bool HostSide::failed(std::size_t most) {
    if (isReleased) {
        const std::size_t held = strategy.securedConnection()->plainBytes().size();
        require(consumed + held <= source.size() && source.size() - held - consumed <= most,
                "a failure loses at most the bytes requested");
        consumed = source.size() - held;
    } else {
        slack += most;
    }
    requireHeld();
    return wire.taken < wire.incoming.size();
}

} // namespace VexaSsl::fuzz
