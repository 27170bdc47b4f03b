// Overlapped receives with an event, a completion port and a completion routine.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "integration/support/Pattern.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

namespace VexaSsl::test {
namespace {

// A posted receive with one buffer.
class PostedReceive {
public:
    PostedReceive(Peer& owner, std::size_t size)
        : PostedReceive(owner, size, owner.socket.handle()) {}
    PostedReceive(Peer& owner, std::size_t size, SOCKET socket) : peer(owner), bytes(size, '\0') {
        WSABUF buffer{static_cast<ULONG>(size), bytes.data()};
        DWORD count = 0;
        const int result =
            peer.stack->WSARecv(socket, &buffer, 1, &count, &flags, overlapped.get(), nullptr);
        posted = result == 0 || platform::WSAGetLastError() == WSA_IO_PENDING;
    }

    // Waits for the event and completes the receive. Returns the plaintext; sets status and
    // wireBytes.
    std::string finish() {
        if (!posted || !overlapped.wait(peer.socket.handle(), wireBytes)) {
            status = SOCKET_ERROR;
            return {};
        }
        return complete(wireBytes);
    }

    std::string complete(DWORD transferred) {
        wireBytes = transferred;
        status = peer.stack->completeWSARecv(0, &transferred, nullptr);
        return bytes.substr(0, transferred);
    }

    OVERLAPPED* state() { return overlapped.get(); }

    bool posted = false;
    int status = 0;
    DWORD wireBytes = 0;
    DWORD flags = 0;

private:
    Peer& peer;
    std::string bytes;
    Overlapped overlapped;
};

std::string receiveOverlapped(Peer& peer, std::size_t size) {
    return PostedReceive(peer, size).finish();
}

TEST(Overlapped, receiveWithAnEventDeliversPlaintext) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    PostedReceive receive(pair.server, 100);
    ASSERT_TRUE(receive.posted);
    ASSERT_TRUE(pair.client.sendAll("by event"));
    EXPECT_EQ(receive.finish(), "by event");
    EXPECT_EQ(receive.status, 0);
    EXPECT_GT(receive.wireBytes, 8U);
}

TEST(Overlapped, receiveOfBytesThatHaveArrivedDeliversThem) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("early"));
    EXPECT_EQ(pair.server.readable(timeoutSeconds), 1);
    EXPECT_EQ(receiveOverlapped(pair.server, 100), "early");
}

TEST(Overlapped, receiveThroughACompletionPortDeliversPlaintext) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    const HANDLE port = platform::CreateIoCompletionPort(
        platform::socketHandle(server.socket.handle()), platform::noHandle, 77, 0);
    ASSERT_NE(port, platform::noHandle);
    std::string bytes(100, '\0');
    WSABUF buffer{100, bytes.data()};
    OVERLAPPED overlapped{};
    DWORD count = 0;
    DWORD flags = 0;
    const int posted = server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags,
                                             &overlapped, nullptr);
    EXPECT_TRUE(posted == 0 || platform::WSAGetLastError() == WSA_IO_PENDING);
    std::jthread sending([&] { pair.client.sendAll("through the port"); });
    ULONG_PTR key = 0;
    OVERLAPPED* finished = nullptr;
    EXPECT_EQ(
        platform::GetQueuedCompletionStatus(port, &count, &key, &finished, timeoutMilliseconds),
        TRUE);
    sending.join();
    EXPECT_EQ(key, 77U);
    EXPECT_EQ(finished, &overlapped);
    EXPECT_EQ(server.stack->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(bytes.substr(0, count), "through the port");
    platform::CloseHandle(port);
}

DWORD routineTransferred = 0;
void noteTransfer(DWORD, DWORD transferred, WSAOVERLAPPED*, DWORD) {
    routineTransferred = transferred;
}

TEST(Overlapped, receiveWithACompletionRoutineDeliversPlaintext) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    std::string bytes(100, '\0');
    WSABUF buffer{100, bytes.data()};
    OVERLAPPED overlapped{};
    DWORD count = 0;
    DWORD flags = 0;
    routineTransferred = 0;
    const int posted = server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags,
                                             &overlapped, noteTransfer);
    EXPECT_TRUE(posted == 0 || platform::WSAGetLastError() == WSA_IO_PENDING);
    ASSERT_TRUE(pair.client.sendAll("by routine"));
    EXPECT_EQ(platform::SleepEx(timeoutMilliseconds, TRUE), endedByRoutine);
    EXPECT_EQ(server.stack->completeWSARecv(0, &routineTransferred, nullptr), 0);
    EXPECT_EQ(bytes.substr(0, routineTransferred), "by routine");
}

TEST(Overlapped, severalBuffersAreFilledInOrder) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    ASSERT_TRUE(pair.client.sendAll("abcdefghij"));
    std::string first(3, '\0');
    std::string second(100, '\0');
    std::array<WSABUF, 2> buffers{{{3, first.data()}, {100, second.data()}}};
    Overlapped overlapped;
    DWORD count = 0;
    DWORD flags = 0;
    server.stack->WSARecv(server.socket.handle(), buffers.data(), 2, &count, &flags,
                          overlapped.get(), nullptr);
    ASSERT_TRUE(overlapped.wait(server.socket.handle(), count));
    EXPECT_EQ(server.stack->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(count, 10U);
    EXPECT_EQ(first, "abc");
    EXPECT_EQ(second.substr(0, 7), "defghij");
}

TEST(Overlapped, surplusPlaintextIsDeliveredByTheNextCompletion) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("0123456789"));
    EXPECT_EQ(receiveOverlapped(pair.server, 4), "0123");
    EXPECT_EQ(pair.server.readable(3600), 1);
    ASSERT_TRUE(pair.client.sendAll("ab"));
    EXPECT_EQ(receiveOverlapped(pair.server, 100), "456789ab");
}

// How a host gets the bytes held without reading from the network.
TEST(Overlapped, receiveOnNoSocketDeliversHeldPlaintext) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("0123456789"));
    EXPECT_EQ(receiveOverlapped(pair.server, 4), "0123");
    ASSERT_TRUE(pair.client.sendAll("ab"));
    PostedReceive held(pair.server, 100, INVALID_SOCKET);
    EXPECT_FALSE(held.posted);
    EXPECT_EQ(platform::WSAGetLastError(), WSAENOTSOCK);
    EXPECT_EQ(held.complete(0), "456789");
    EXPECT_EQ(held.status, 0);
    EXPECT_EQ(receiveOverlapped(pair.server, 100), "ab");
}

TEST(Overlapped, partOfARecordDeliversNothingAndLogsAWarning) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    const std::string text(5000, 'r');
    ASSERT_TRUE(pair.client.sendAll(text));
    PostedReceive part(pair.server, 100); // receives at most 1024 bytes of the record
    EXPECT_EQ(part.finish(), "");
    EXPECT_EQ(part.status, 0);
    EXPECT_GT(part.wireBytes, 0U);
    EXPECT_EQ(pair.server.log->count(
                  Severity::Warning,
                  L"::WSARecv completed asynchronously, but there were too few bytes transferred "
                  L"[0] to decrypt even a single crypto message"),
              1U);
    std::string heard;
    while (heard.empty()) {
        PostedReceive more(pair.server, 2000);
        heard = more.finish();
        ASSERT_GT(more.wireBytes, 0U);
    }
    EXPECT_EQ(heard, text.substr(0, 2000));
    EXPECT_EQ(pair.server.receive(3000), text.substr(2000));
}

TEST(Overlapped, closedPeerCompletesWithNoBytes) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    PostedReceive receive(pair.server, 100);
    pair.client.socket.close();
    EXPECT_EQ(receive.finish(), "");
    EXPECT_EQ(receive.status, 0);
    EXPECT_EQ(receive.wireBytes, 0U);
}

TEST(Overlapped, waitAllIsRemovedFromTheFlags) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    ASSERT_TRUE(pair.client.sendAll("x"));
    std::string bytes(10, '\0');
    WSABUF buffer{10, bytes.data()};
    Overlapped overlapped;
    DWORD count = 0;
    DWORD flags = msgWaitAll;
    server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags, overlapped.get(),
                          nullptr);
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(server.log->count(Severity::Debug, L"Stripping MSG_WAITALL from WSARecv"), 1U);
    ASSERT_TRUE(overlapped.wait(server.socket.handle(), count));
    EXPECT_EQ(server.stack->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(count, 1U);
}

TEST(Overlapped, synchronousReceiveIsRefused) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    char byte = 0;
    WSABUF buffer{1, &byte};
    DWORD count = 0;
    DWORD flags = 0;
    EXPECT_EQ(
        server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags, nullptr, nullptr),
        SOCKET_ERROR);
    EXPECT_EQ(platform::WSAGetLastError(), WSAEINVAL);
    EXPECT_EQ(
        server.log->count(Severity::Error,
                          L"WSARecv called in a synchronous manner. This is not yet implemented. "),
        1U);
}

TEST(Overlapped, overlappedSendIsRefused) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer& client = pair.client;
    char byte = 'x';
    WSABUF buffer{1, &byte};
    DWORD count = 0;
    Overlapped overlapped;
    EXPECT_EQ(client.stack->WSASend(client.socket.handle(), &buffer, 1, &count, 0, overlapped.get(),
                                    nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(platform::WSAGetLastError(), WSAEINVAL);
    EXPECT_EQ(client.log->count(
                  Severity::Error,
                  L"WSASend called in an asynchronous manner. This is not yet implemented. "),
              1U);
}

TEST(Overlapped, synchronousSendOfSeveralBuffersArrivesInOrder) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer& client = pair.client;
    std::string first = "one ";
    std::string second = "two";
    std::array<WSABUF, 3> buffers{{{4, first.data()}, {0, nullptr}, {3, second.data()}}};
    DWORD count = 0;
    EXPECT_EQ(client.stack->WSASend(client.socket.handle(), buffers.data(), 3, &count, 0, nullptr,
                                    nullptr),
              0);
    EXPECT_EQ(count, 7U);
    EXPECT_EQ(pair.server.receiveAll(7), "one two");
}

TEST(Overlapped, fourMebibytesArriveByPostedReceives) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    pair.client.log->setMinimumSeverity(Severity::Error);
    pair.server.log->setMinimumSeverity(Severity::Error);
    const Pattern pattern;
    constexpr std::size_t total = std::size_t{4} << 20;
    std::jthread sending([&] {
        for (std::size_t sent = 0; sent < total; sent += 65536) {
            pair.client.sendAll(pattern.at(sent, 65536));
        }
        platform::shutdown(pair.client.socket.handle(), SD_SEND);
    });
    // Posted receives always read from the socket; plain ones return the rest that is held.
    std::size_t right = 0;
    while (right < total) {
        PostedReceive receive(pair.server, 20000);
        std::string heard = receive.finish();
        if (receive.wireBytes == 0) {
            heard += pair.server.receive(total).value_or("");
        }
        ASSERT_TRUE(pattern.matches(right, heard)) << "at " << right;
        right += heard.size();
        ASSERT_FALSE(heard.empty() && receive.wireBytes == 0);
    }
    sending.join();
    EXPECT_EQ(right, total);
}

} // namespace
} // namespace VexaSsl::test
