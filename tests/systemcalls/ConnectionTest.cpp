// Connections in which every system call fails once: both roles, data, select, overlapped receives,
// and a switch to TLS.
#include "integration/support/LogMatchers.h"
#include "integration/support/Pki.h"
#include "systemcalls/Steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace VexaSsl::test {
namespace {

// More than one record.
const std::string request(20000, 'q');
const std::string reply(5000, 'r');

bool isHandshake(const std::string& step) {
    return step == "connect" || step == "completeAcceptEx" || step == "startOtls";
}

Settings clientSettings() {
    return Settings::clientSending(pki::client);
}

Settings serverSettings() {
    return Settings::serverSending(pki::localhostElliptic)
        .with("RequireClientAuthentication", "True")
        .with("AcceptableClientNames", "client.test");
}

// A call that the connection needs fails its step with Winsock's error code. One that only returns
// information (a timeout, a peer's name, whether files have changed) may fail without effect, or
// fail its step with a line.
void checkConnection(const Play& play) {
    const std::string& call = play.plan.hitCall;
    const int number = winsockNumber(play.plan.fault.number);
    const bool decides = call == "recv" || call == "recvmsg" || call == "sendmsg" ||
                         call == "connect" || call == "accept4" || call == "socket" ||
                         call == "getaddrinfo";
    if (!decides) {
        EXPECT_TRUE(play.failedStep.empty() || play.error != 0);
        return;
    }
    EXPECT_EQ(play.failedStep, play.plan.hitStep);
    if (!isHandshake(play.failedStep) || call == "connect") {
        EXPECT_EQ(play.error, number);
        return;
    }
    // A failed switch keeps the error code of the call; the others set WSAECONNABORTED.
    EXPECT_EQ(play.error, play.failedStep == "startOtls" ? number : WSAECONNABORTED);
    const std::wstring what = call == "recv" || call == "recvmsg" ? L"::recv" : L"::send";
    EXPECT_THAT(play.log.lines(),
                ::testing::Contains(systemError(what + L" (during negotiation)",
                                                static_cast<unsigned long>(number))));
}

// --- The scenarios.

void playClient(Play& play) {
    const Listener listener;
    Peer self = stackOf(play, clientSettings());
    std::jthread other([&] {
        Peer peer = acceptPeer(listener, serverSettings());
        if (peer.established() && peer.receiveAll(request.size()) == request) {
            peer.sendAll(reply);
        }
    });
    if (connects(play, self, listener) && sends(play, self, request)) {
        hears(play, self, reply);
    }
    ends(play, self);
    self.socket.close();
    rawConnection(listener.port()); // so that the other end doesn't wait if nobody has connected
}

void playServer(Play& play) {
    std::jthread other;
    const Listener listener;
    Peer self = stackOf(play, serverSettings());
    other = std::jthread([port = listener.port()] {
        Peer peer = connectPeer(port, clientSettings());
        if (peer.established() && peer.sendAll(request)) {
            peer.receiveAll(reply.size());
        }
    });
    if (accepts(play, self, listener) && hears(play, self, request)) {
        sends(play, self, reply);
    }
    ends(play, self);
    self.socket.close();
}

// Receives until all bytes have arrived, with a select in between as in a receive without
// msgWaitAll.
bool hearsInParts(Play& play, Peer& self, const std::string& text) {
    std::string heard;
    while (heard.size() < text.size()) {
        const bool well = play.step("parts", [&] {
            const auto got = self.receive(text.size() - heard.size());
            heard += got.value_or("");
            return got.has_value() && !got->empty();
        });
        if (!well) {
            return false;
        }
    }
    if (heard != text) {
        play.wrong = "other bytes than were sent";
    }
    return heard == text;
}

bool looks(Play& play, Peer& self) {
    return play.step("select", [&] { return self.readable(timeoutSeconds) == 1; });
}

// Both ends connect; then the client transfers data by all operations.
void playData(Play& play) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer self = std::move(pair.client);
    std::jthread other([peer = std::move(pair.server)]() mutable {
        if (peer.receiveAll(request.size()) == request && peer.sendAll(reply) &&
            peer.sendAll(reply) && peer.receiveAll(1) == "x") {
            peer.sendAll("y");
        }
    });
    if (sends(play, self, request) && looks(play, self) && hears(play, self, reply) &&
        hearsInParts(play, self, reply) && sends(play, self, "x") && looks(play, self)) {
        hears(play, self, "y");
    }
    ends(play, self);
    self.socket.close();
}

// Posts a receive, waits for it in one of the three ways, and completes it.
enum class Notice { event, port, routine };

DWORD routineTransferred = 0;
DWORD routineError = 0;
void noteTransfer(DWORD error, DWORD transferred, WSAOVERLAPPED*, DWORD) {
    routineError = error;
    routineTransferred = transferred;
}

class PostedReceive {
public:
    bool post(Peer& self, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine = nullptr) {
        WSABUF buffer{static_cast<ULONG>(sizeof bytes), bytes};
        return self.stack->WSARecv(self.socket.handle(), &buffer, 1, &count, &flags, &state,
                                   routine) == 0 ||
               platform::WSAGetLastError() == WSA_IO_PENDING;
    }
    bool complete(Peer& self) { return self.stack->completeWSARecv(0, &count, nullptr) == 0; }

    WSAOVERLAPPED state{};
    DWORD count = 0;
    DWORD flags = 0;
    char bytes[100] = {};
};

bool waitsByEvent(Peer& self, PostedReceive& receive) {
    return platform::WSAGetOverlappedResult(self.socket.handle(), &receive.state, &receive.count,
                                            TRUE, &receive.flags) != FALSE;
}

bool waitsByRoutine(PostedReceive& receive) {
    if (platform::SleepEx(timeoutMilliseconds, TRUE) != endedByRoutine) {
        return false;
    }
    platform::WSASetLastError(static_cast<int>(routineError));
    receive.count = routineTransferred;
    return routineError == 0;
}

bool waitsByPort(HANDLE port, PostedReceive& receive) {
    ULONG_PTR key = 0;
    OVERLAPPED* done = nullptr;
    return platform::GetQueuedCompletionStatus(port, &receive.count, &key, &done,
                                               timeoutMilliseconds) != FALSE;
}

// A record may arrive in pieces, each of which completes a receive; the peer sends on request.
bool receivesOverlapped(Play& play, Peer& self, Notice notice, HANDLE port) {
    for (DWORD count = 0; count == 0;) {
        PostedReceive receive;
        const bool well = play.step("overlapped receive", [&] {
            if (!receive.post(self, notice == Notice::routine ? noteTransfer : nullptr)) {
                return false;
            }
            switch (notice) {
            case Notice::event:
                return waitsByEvent(self, receive);
            case Notice::routine:
                return waitsByRoutine(receive);
            default:
                return waitsByPort(port, receive);
            }
        }) && play.step("completeWSARecv", [&] { return receive.complete(self); });
        if (!well) {
            // The pending operation is aborted before its memory is freed.
            self.socket.close();
            return false;
        }
        count = receive.count;
        if (std::string_view(receive.bytes, count) !=
            std::string_view("overlapped").substr(0, count)) {
            play.wrong = "other bytes than were sent";
        }
    }
    return true;
}

void playOverlapped(Play& play, Notice notice) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer self = std::move(pair.client);
    HANDLE port = platform::noHandle;
    if (notice == Notice::port) {
        play.step("port", [&] {
            port = platform::CreateIoCompletionPort(platform::socketHandle(self.socket.handle()),
                                                    platform::noHandle, 1, 0);
            return port != platform::noHandle;
        });
    }
    std::jthread other([peer = std::move(pair.server)]() mutable {
        if (peer.receiveAll(2) == "go") {
            peer.sendAll("overlapped");
            peer.receiveAll(1);
        }
    });
    if (sends(play, self, "go") && receivesOverlapped(play, self, notice, port)) {
        sends(play, self, "!");
    }
    ends(play, self);
    self.socket.close();
    platform::CloseHandle(port);
}

void playOverlappedByEvent(Play& play) {
    playOverlapped(play, Notice::event);
}
void playOverlappedByPort(Play& play) {
    playOverlapped(play, Notice::port);
}
void playOverlappedByRoutine(Play& play) {
    playOverlapped(play, Notice::routine);
}

Settings opportunistic() {
    return Settings::plain()
        .with("UseEncryption", "Opportunistically")
        .with("MinimumSeverityToLog", "Debug")
        .with("ServerCertificateToSendName", pki::localhostElliptic)
        .named(L"Upgradable");
}

bool switches(Peer& self) {
    return dynamic_cast<IOtlsProvider&>(*self.stack).startOtls() == 0;
}

void playOpportunisticServer(Play& play) {
    std::jthread other;
    const Listener listener;
    Peer self = stackOf(play, opportunistic());
    other = std::jthread([port = listener.port()] {
        Peer peer = connectPeer(port, opportunistic());
        if (peer.established() && peer.sendAll("STARTTLS") && peer.receiveAll(2) == "go" &&
            switches(peer)) {
            peer.sendAll(request);
            peer.receiveAll(reply.size());
        }
    });
    const bool accepted = play.step("accept", [&] {
        self.socket = HostSocket(self.stack->accept(listener.handle(), nullptr, nullptr));
        return self.socket.handle() != INVALID_SOCKET;
    });
    if (accepted) {
        setTimeouts(self.socket.handle());
    }
    if (accepted && hears(play, self, "STARTTLS") && resolves(play, self) &&
        sends(play, self, "go") && play.step("startOtls", [&] { return switches(self); }) &&
        hears(play, self, request)) {
        sends(play, self, reply);
    }
    ends(play, self);
    self.socket.close();
}

} // namespace

TEST(SystemCalls, clientKeepsItsConnectionOrLogsTheReason) {
    sweep("client", playClient, checkConnection);
}

TEST(SystemCalls, serverKeepsItsConnectionOrLogsTheReason) {
    sweep("server", playServer, checkConnection);
}

TEST(SystemCalls, transfersAndSelectSucceedOrReturnTheErrorCode) {
    sweep("data and select", playData, checkConnection);
}

TEST(SystemCalls, overlappedReceiveByEventSucceedsOrReturnsTheErrorCode) {
    sweep("overlapped, by event", playOverlappedByEvent, checkConnection);
}

TEST(SystemCalls, overlappedReceiveByPortSucceedsOrReturnsTheErrorCode) {
    sweep("overlapped, by completion port", playOverlappedByPort, checkConnection);
}

TEST(SystemCalls, overlappedReceiveByRoutineSucceedsOrReturnsTheErrorCode) {
    sweep("overlapped, by routine", playOverlappedByRoutine, checkConnection);
}

TEST(SystemCalls, switchToTlsSucceedsOrLogsTheReason) {
    sweep("opportunistic server", playOpportunisticServer, checkConnection);
}

TEST(SystemCalls, transfersOfSingleBytesChangeNothing) {
    for (auto* const part : {playClient, playServer, playData, playOpportunisticServer}) {
        Play play{.plan = {.at = 0, .fault = {"one byte", 0}, .everyOneFrom = true, .step = {}},
                  .log = {}};
        std::thread([&] { part(play); }).join();
        EXPECT_TRUE(play.wentWell()) << play.failedStep << play.wrong;
        EXPECT_GT(play.plan.seen, request.size());
    }
}

} // namespace VexaSsl::test
