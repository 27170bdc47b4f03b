#include "tampering/Paths.h"

#include <algorithm>

namespace VexaSsl::test {

namespace {

// Occurs in no text of the tests.
constexpr char untouched = '\x7f';

// The changed bytes after the first count bytes.
std::string touchedAfter(const std::string& buffer, std::size_t count) {
    const std::size_t first = buffer.find_first_not_of(untouched, count);
    const std::size_t last = buffer.find_last_not_of(untouched);
    return first == std::string::npos ? "" : buffer.substr(first, last + 1 - first);
}

void add(ReceivedData& all, const ReceivedData& more) {
    all.text += more.text;
    all.beyond += more.beyond;
    all.ends.insert(all.ends.end(), more.ends.begin(), more.ends.end());
}

template <typename Receive>
ReceivedData untilThirdEnd(TamperedConnection& connection, Receive receive) {
    ReceivedData all;
    for (int ends = 0; ends < 3;) {
        const ReceivedData more = receive();
        ends += !more.ends.empty() && connection.wire.isOver() ? 1 : 0;
        add(all, more);
    }
    return all;
}

constexpr std::size_t largeSize = 3000;

ReceivedData receiveBlocking(TamperedConnection& connection) {
    return untilThirdEnd(connection, [&] { return receiveOnce(connection, largeSize); });
}

ReceivedData receiveInSmallPieces(TamperedConnection& connection) {
    return untilThirdEnd(connection, [&] { return receiveOnce(connection, 7); });
}

ReceivedData receiveWaitingForAll(TamperedConnection& connection) {
    return untilThirdEnd(connection,
                         [&] { return receiveOnce(connection, largeSize, msgWaitAll); });
}

// Peeks at one byte, then receives it and compares.
ReceivedData receivePeeking(TamperedConnection& connection) {
    return untilThirdEnd(connection, [&] {
        const ReceivedData peeked = receiveOnce(connection, 1, msgPeek);
        if (peeked.text.empty()) {
            return peeked;
        }
        ReceivedData taken = receiveOnce(connection, 1);
        taken.beyond += taken.text == peeked.text ? "" : peeked.text;
        return taken;
    });
}

ReceivedData receiveWhenReadable(TamperedConnection& connection) {
    return untilThirdEnd(connection, [&] {
        fd_set set{};
        platform::socketSetAdd(connection.socket(), set);
        const timeval limit{timeoutSeconds, 0};
        const int ready = connection.stack().select(0, &set, nullptr, nullptr, &limit);
        return ready == 1 ? receiveOnce(connection, largeSize) : ReceivedData{.ends = {ready}};
    });
}

ReceivedData receiveOverlapped(TamperedConnection& connection) {
    return untilThirdEnd(connection, [&] { return completeOnce(connection, {largeSize}); });
}

ReceivedData receiveOverlappedInTwoBuffers(TamperedConnection& connection) {
    return untilThirdEnd(connection, [&] { return completeOnce(connection, {5, largeSize}); });
}

} // namespace

ReceivedData receiveOnce(TamperedConnection& connection, std::size_t size, int flags) {
    std::string buffer(size, untouched);
    const int count =
        connection.stack().recv(connection.socket(), buffer.data(), static_cast<int>(size), flags);
    const std::size_t got = static_cast<std::size_t>(std::max(count, 0));
    ReceivedData received{.text = buffer.substr(0, got), .beyond = touchedAfter(buffer, got)};
    if (count <= 0) {
        received.ends.push_back(count);
    }
    return received;
}

// A completion without bytes from the wire is the end of the stream; one with less than a record
// isn't.
ReceivedData completeOnce(TamperedConnection& connection, const std::vector<std::size_t>& sizes) {
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
    const int posted = connection.stack().WSARecv(connection.socket(), buffers.data(),
                                                  static_cast<DWORD>(buffers.size()), &count,
                                                  &flags, overlapped.get(), nullptr);
    if (posted != 0 && platform::WSAGetLastError() != WSA_IO_PENDING) {
        return {.ends = {posted}};
    }
    const bool done = overlapped.wait(connection.socket(), count);
    const DWORD wireBytes = done ? count : 0;
    connection.wire.noteTaken(wireBytes);
    count = wireBytes;
    const int status = connection.stack().completeWSARecv(0, &count, nullptr);
    ReceivedData received;
    std::size_t left = count;
    for (const std::string& place : places) {
        const std::size_t got = std::min(left, place.size());
        received.text += place.substr(0, got);
        received.beyond += touchedAfter(place, got);
        left -= got;
    }
    if (!done || status != 0 || (wireBytes == 0 && count == 0)) {
        received.ends.push_back(done ? status : SOCKET_ERROR);
    }
    return received;
}

const std::vector<Path>& allPaths() {
    static const std::vector<Path> paths = {
        {.name = "recv", .receive = receiveBlocking, .endsAtTimeOut = true},
        {.name = "recv in pieces", .receive = receiveInSmallPieces, .endsAtTimeOut = true},
        {.name = "recv of all",
         .receive = receiveWaitingForAll,
         .endsAtTimeOut = true,
         .waitsForAll = true},
        {.name = "peek and recv", .receive = receivePeeking, .endsAtTimeOut = true},
        {.name = "select and recv", .receive = receiveWhenReadable},
        {.name = "WSARecv", .receive = receiveOverlapped, .overlapped = true},
        {.name = "WSARecv in two buffers",
         .receive = receiveOverlappedInTwoBuffers,
         .overlapped = true,
         .severalBuffers = true},
        {.name = "recv after an upgrade",
         .receive = receiveBlocking,
         .upgraded = true,
         .endsAtTimeOut = true},
    };
    return paths;
}

} // namespace VexaSsl::test
