// Two hosts of the library with a connection over the loopback address. A test configures both ends
// and the network between them.
//
//     ConnectedPair pair = connectPair({.client = Settings::encrypted(),
//                             .server = Settings::serverSending("localhost")});
//     pair.client.sendAll("hello");
//     EXPECT_EQ(pair.server.receiveAll(5), "hello");
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
    std::unique_ptr<ISocketStrategy> stack; // destroyed before the socket and the log
    int result = SOCKET_ERROR;
    int error = 0;

    bool established() const { return result == 0; }
    // Returns whether all of the text was sent.
    bool sendAll(std::string_view text);
    // Receives size bytes; fewer at the end of the stream or after a failure.
    std::string receiveAll(std::size_t size);
    // Calls recv once, for at most size bytes. Returns nothing when it fails.
    std::optional<std::string> receive(std::size_t size, int flags = 0);
    // Returns the result of select with the connection's socket in readfds.
    int readable(int seconds = 0);
    // Returns the socket as in log lines.
    std::wstring socketNumber() const { return std::to_wstring(socket.handle()); }
};

// Creates a stack; instantiateSocketStrategy by default.
using StackMaker = std::function<std::unique_ptr<ISocketStrategy>(ILog&, const IConfig&)>;

enum class Accepting {
    blocking,   // accept
    overlapped, // AcceptEx and completeAcceptEx
};

struct Plan {
    Settings client = {};
    Settings server = {};
    std::string host = "localhost"; // the name that the client resolves
    Accepting accepting = Accepting::overlapped;
    std::optional<RelayPlan> between = {};
    StackMaker clientStack = instantiateSocketStrategy;
    StackMaker serverStack = instantiateSocketStrategy;
};

// The relay is destroyed last.
struct ConnectedPair {
    std::unique_ptr<Relay> relay;
    Peer client;
    Peer server;

    bool established() const { return client.established() && server.established(); }
};

ConnectedPair connectPair(const Plan& plan);

// Both ends encrypted, the server with its usual certificate.
ConnectedPair connectEncrypted(const std::optional<RelayPlan>& between = {},
                               Accepting accepting = Accepting::overlapped);

// One end of a connection, for tests whose other end is not the library.
Peer connectPeer(std::uint16_t port, const Settings& settings,
                 const std::string& host = "localhost",
                 const StackMaker& maker = instantiateSocketStrategy);
Peer acceptPeer(const Listener& listener, const Settings& settings,
                Accepting accepting = Accepting::overlapped,
                const StackMaker& maker = instantiateSocketStrategy);

} // namespace VexaSsl::test
