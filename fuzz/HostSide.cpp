#include "HostSide.h"

#include <algorithm>

namespace VexaSsl::fuzz {

namespace {

constexpr char untouched = '#';

// Whether bytes are one beginning of text, or several behind each other. (A peek that reads from
// the network starts again from the front.)
bool areBeginnings(std::string_view bytes, std::string_view text) {
    std::vector<bool> reached(text.size() + 1, false); // behind the bytes so far
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
                "peeking for all is refused");
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
            "no more bytes than there is room for");
    if (result <= 0 && length != 0) {
        return failed(length);
    }
    const std::size_t count = static_cast<std::size_t>(result);
    require(buffer.find_first_not_of(untouched, count) == std::string::npos,
            "nothing is written behind the bytes given");
    return take(std::string_view(buffer).substr(0, count));
}

bool HostSide::peek(std::size_t length) {
    std::string buffer(length, untouched);
    const int result =
        strategy.recv(Wire::socket, buffer.data(), static_cast<int>(length), msgPeek);
    require(result >= SOCKET_ERROR && result <= static_cast<int>(length),
            "no more bytes than there is room for");
    if (result <= 0 && length != 0) {
        return failed(0);
    }
    const std::size_t count = static_cast<std::size_t>(result);
    require(slack != 0 || areBeginnings(std::string_view(buffer).substr(0, count),
                                        std::string_view(source).substr(consumed, length)),
            "a peek shows the next bytes");
    return requireHeld();
}

bool HostSide::select(bool besideOthers) {
    fd_set readable{};
    readable.fd_array[readable.fd_count++] = Wire::socket;
    if (besideOthers) {
        readable.fd_array[readable.fd_count++] = Wire::socket + 1;
    }
    const timeval noTime{};
    const int result = strategy.select(0, &readable, nullptr, nullptr, &noTime);
    if (result == SOCKET_ERROR) {
        return failed(0);
    }
    require(isForgotten || strategy.securedConnection()->plainBytes.empty() || result >= 1,
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
    require(result == SOCKET_ERROR && received == 0, "a posted receive waits");
    posts.push_back(std::move(posted));
    return requireHeld();
}

// Completions come in the order of the posts, each with as much as the input says.
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
    require(transferred <= gathered.size(), "no more bytes than there is room for");
    if (result != 0) {
        require(transferred == 0, "a failure gives no bytes");
        isForgotten = true;
        return failed(gathered.size());
    }
    require(gathered.find_first_not_of(untouched, transferred) == std::string::npos,
            "nothing is written behind the bytes given");
    return take(std::string_view(gathered).substr(0, transferred));
}

bool HostSide::take(std::string_view bytes) {
    require(comesNext(bytes), "the host gets what was sent, in its order");
    consumed += bytes.size();
    return requireHeld();
}

// Whether the bytes are the next ones of the source, or could be, as far as a failure has left it
// open how much the host has lost.
bool HostSide::comesNext(std::string_view bytes) const {
    for (std::size_t from = consumed; from <= consumed + slack && from <= source.size(); ++from) {
        if (std::string_view(source).substr(from, bytes.size()) == bytes) {
            return true;
        }
    }
    return false;
}

// What is held must go on behind what the host has got.
bool HostSide::requireHeld() const {
    const auto& plain = strategy.securedConnection()->plainBytes;
    const std::string_view held(plain.data(), plain.size());
    require(comesNext(held), "what is held is what comes next");
    require(!isReleased || consumed + held.size() == source.size(),
            "nothing that was released is lost");
    return true;
}

bool HostSide::failed(std::size_t most) {
    if (isReleased) {
        const std::size_t held = strategy.securedConnection()->plainBytes.size();
        require(consumed + held <= source.size() && source.size() - held - consumed <= most,
                "a failure loses no more than it was asked for");
        consumed = source.size() - held;
    } else {
        slack += most;
    }
    requireHeld();
    return wire.taken < wire.incoming.size();
}

} // namespace VexaSsl::fuzz
