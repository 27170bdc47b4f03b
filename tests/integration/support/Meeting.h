// Two hosts of the library that meet on a loopback connection. A test says how each side is
// configured and what lies between them, and gets both ends in hand.
//
//     Meeting meeting = meet({.client = Settings::encrypted(),
//                             .server = Settings::serverSending("localhost")});
//     meeting.client.say("hello");
//     EXPECT_EQ(meeting.server.hear(5), "hello");
#pragma once

#include "integration/support/HostSocket.h"
#include "integration/support/Relay.h"
#include "integration/support/Settings.h"
#include "integration/support/SharedLog.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace VexaSsl::test {

// One end of a connection. result and error are those of connect, accept or completeAcceptEx.
struct Peer {
    std::unique_ptr<SharedLog> log = std::make_unique<SharedLog>();
    HostSocket socket;
    std::unique_ptr<ISocketStrategy> stack; // goes before the socket and the log
    int result = SOCKET_ERROR;
    int error = 0;

    bool established() const { return result == 0; }
    // Sends the text; true when all of it went.
    bool say(std::string_view text);
    // Receives until size bytes are there; shorter at the end of the stream or after a failure.
    std::string hear(std::size_t size);
    // One recv of at most size bytes. A failure gives nothing.
    std::optional<std::string> receive(std::size_t size, int flags = 0);
    // One select for reading on the connection's socket alone.
    int readable(int seconds = 0);
    // The socket as log lines show it.
    std::wstring socketNumber() const { return std::to_wstring(socket.handle()); }
};

// How a stack comes about; the default is instantiateSocketStrategy.
using StackMaker = std::function<std::unique_ptr<ISocketStrategy>(ILog&, const IConfig&)>;

enum class Accepting {
    blocking,   // accept
    overlapped, // AcceptEx and completeAcceptEx
};

struct Plan {
    Settings client = {};
    Settings server = {};
    std::string host = "localhost"; // what the client resolves
    Accepting accepting = Accepting::overlapped;
    std::optional<RelayPlan> between = {};
    StackMaker clientStack = instantiateSocketStrategy;
    StackMaker serverStack = instantiateSocketStrategy;
};

// The relay goes last, when both ends are closed.
struct Meeting {
    std::unique_ptr<Relay> relay;
    Peer client;
    Peer server;

    bool established() const { return client.established() && server.established(); }
};

Meeting meet(const Plan& plan);

// Both encrypted, the server with its usual certificate: what most tests start from.
Meeting meetEncrypted(const std::optional<RelayPlan>& between = {},
                      Accepting accepting = Accepting::overlapped);

// The halves of a meeting, for tests that have one foreign side.
Peer dial(std::uint16_t port, const Settings& settings, const std::string& host = "localhost",
          const StackMaker& maker = instantiateSocketStrategy);
Peer answer(const Listener& listener, const Settings& settings,
            Accepting accepting = Accepting::overlapped,
            const StackMaker& maker = instantiateSocketStrategy);

} // namespace VexaSsl::test
