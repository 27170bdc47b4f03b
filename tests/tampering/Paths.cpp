#include "tampering/Paths.h"

#include <algorithm>

namespace VexaSsl::test {

namespace {

// In no text of the tests.
constexpr char untouched = '\x7f';

// What stands behind the first count bytes, from the first to the last that isn't as it was.
std::string touchedBehind(const std::string& buffer, std::size_t count) {
    const std::size_t first = buffer.find_first_not_of(untouched, count);
    const std::size_t last = buffer.find_last_not_of(untouched);
    return first == std::string::npos ? "" : buffer.substr(first, last + 1 - first);
}

void add(Heard& all, const Heard& more) {
    all.text += more.text;
    all.beyond += more.beyond;
    all.ends.insert(all.ends.end(), more.ends.begin(), more.ends.end());
}

template <typename Receive>
Heard untilThirdEnd(Scene& scene, Receive receive) {
    Heard all;
    for (int ends = 0; ends < 3;) {
        const Heard more = receive();
        ends += !more.ends.empty() && scene.wire.isOver() ? 1 : 0;
        add(all, more);
    }
    return all;
}

constexpr std::size_t plenty = 3000;

Heard hearBlocking(Scene& scene) {
    return untilThirdEnd(scene, [&] { return receiveOnce(scene, plenty); });
}

Heard hearInSmallPieces(Scene& scene) {
    return untilThirdEnd(scene, [&] { return receiveOnce(scene, 7); });
}

Heard hearWaitingForAll(Scene& scene) {
    return untilThirdEnd(scene, [&] { return receiveOnce(scene, plenty, msgWaitAll); });
}

// Looks at one byte, which a peek gives from one record, and takes it when it is the same.
Heard hearPeeking(Scene& scene) {
    return untilThirdEnd(scene, [&] {
        const Heard peeked = receiveOnce(scene, 1, msgPeek);
        if (peeked.text.empty()) {
            return peeked;
        }
        Heard taken = receiveOnce(scene, 1);
        taken.beyond += taken.text == peeked.text ? "" : peeked.text;
        return taken;
    });
}

Heard hearWhenReadable(Scene& scene) {
    return untilThirdEnd(scene, [&] {
        fd_set set{};
        platform::socketSetAdd(scene.socket(), set);
        const timeval limit{patienceSeconds, 0};
        const int ready = scene.stack().select(0, &set, nullptr, nullptr, &limit);
        return ready == 1 ? receiveOnce(scene, plenty) : Heard{.ends = {ready}};
    });
}

Heard hearOverlapped(Scene& scene) {
    return untilThirdEnd(scene, [&] { return completeOnce(scene, {plenty}); });
}

Heard hearOverlappedInTwoBuffers(Scene& scene) {
    return untilThirdEnd(scene, [&] { return completeOnce(scene, {5, plenty}); });
}

} // namespace

Heard receiveOnce(Scene& scene, std::size_t size, int flags) {
    std::string buffer(size, untouched);
    const int count =
        scene.stack().recv(scene.socket(), buffer.data(), static_cast<int>(size), flags);
    const std::size_t got = static_cast<std::size_t>(std::max(count, 0));
    Heard heard{.text = buffer.substr(0, got), .beyond = touchedBehind(buffer, got)};
    if (count <= 0) {
        heard.ends.push_back(count);
    }
    return heard;
}

// The end of a completion that brought nothing from the wire is the end of the stream; one that
// brought less than a record is none.
Heard completeOnce(Scene& scene, const std::vector<std::size_t>& sizes) {
    std::vector<std::string> places;
    std::vector<WSABUF> buffers;
    places.reserve(sizes.size());
    for (const std::size_t size : sizes) {
        std::string& place = places.emplace_back(size, untouched);
        buffers.push_back({static_cast<ULONG>(size), place.data()});
    }
    Overlapped overlapped;
    DWORD count = 0;
    DWORD flags = 0;
    const int posted =
        scene.stack().WSARecv(scene.socket(), buffers.data(), static_cast<DWORD>(buffers.size()),
                              &count, &flags, overlapped.get(), nullptr);
    if (posted != 0 && platform::WSAGetLastError() != WSA_IO_PENDING) {
        return {.ends = {posted}};
    }
    const bool done = overlapped.wait(scene.socket(), count);
    const DWORD wireBytes = done ? count : 0;
    scene.wire.noteTaken(wireBytes);
    count = wireBytes;
    const int status = scene.stack().completeWSARecv(0, &count, nullptr);
    Heard heard;
    std::size_t left = count;
    for (const std::string& place : places) {
        const std::size_t got = std::min(left, place.size());
        heard.text += place.substr(0, got);
        heard.beyond += touchedBehind(place, got);
        left -= got;
    }
    if (!done || status != 0 || (wireBytes == 0 && count == 0)) {
        heard.ends.push_back(done ? status : SOCKET_ERROR);
    }
    return heard;
}

const std::vector<Path>& allPaths() {
    static const std::vector<Path> paths = {
        {.name = "recv", .hear = hearBlocking, .endsAtTimeOut = true},
        {.name = "recv in pieces", .hear = hearInSmallPieces, .endsAtTimeOut = true},
        {.name = "recv of all",
         .hear = hearWaitingForAll,
         .endsAtTimeOut = true,
         .waitsForAll = true},
        {.name = "peek and recv", .hear = hearPeeking, .endsAtTimeOut = true},
        {.name = "select and recv", .hear = hearWhenReadable},
        {.name = "WSARecv", .hear = hearOverlapped, .overlapped = true},
        {.name = "WSARecv in two buffers",
         .hear = hearOverlappedInTwoBuffers,
         .overlapped = true,
         .severalBuffers = true},
        {.name = "recv behind an upgrade",
         .hear = hearBlocking,
         .upgraded = true,
         .endsAtTimeOut = true},
    };
    return paths;
}

} // namespace VexaSsl::test
