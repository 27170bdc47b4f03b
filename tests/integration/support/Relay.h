// A hostile piece of network between two sockets: it passes the bytes of one connection on and can
// cut the connection behind a byte, deliver in pieces, or change a byte.
//
// It runs one thread from construction to destruction. The counts may be read at any time.
#pragma once

#include "integration/support/HostSocket.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace VexaSsl::test {

enum class Ending { close, reset };

// What happens to the bytes of one direction. Positions count from the first byte.
struct Treatment {
    std::optional<std::size_t> cutBehind = {}; // this many bytes pass, then both sides see the end
    Ending ending = Ending::close;
    std::optional<std::size_t> splitAt = {}; // the bytes before and behind are delivered apart
    std::size_t pieceSize = 0; // everything is delivered in such pieces; 0: as it comes
    std::optional<std::size_t> changeAt = {}; // this byte gets another value
    // What lies behind holdBehind waits until holdUntil bytes have come, then goes out at once.
    std::optional<std::size_t> holdBehind = {};
    std::size_t holdUntil = 0;
};

struct RelayPlan {
    Treatment toServer = {};
    Treatment toClient = {};
};

class Relay {
public:
    Relay(std::uint16_t targetPort, const RelayPlan& plan);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    std::uint16_t port() const { return listener.port(); }
    std::size_t passedToServer() const { return toServer.passed; }
    std::size_t passedToClient() const { return toClient.passed; }
    // Everything that passed, of both directions as it came.
    std::string captured() const;

private:
    struct Direction {
        Treatment treatment;
        std::string waiting; // read and not delivered yet
        std::atomic<std::size_t> passed{0};
        bool ended = false;
    };

    void run(std::uint16_t targetPort);
    void passOn();
    // One read of a direction. Result: false when the connection has been cut.
    bool passSome(Direction& direction, const HostSocket& from, const HostSocket& to);
    // Delivers the first size bytes that wait.
    void deliver(Direction& direction, const HostSocket& to, std::size_t size);
    void cut(Ending ending);

    Listener listener;
    HostSocket wakeWriter; // connected to wakeReader; closing it ends the thread
    HostSocket wakeReader;
    HostSocket client;
    HostSocket server;
    Direction toServer;
    Direction toClient;
    mutable std::mutex guard;
    std::string seen;
    std::thread thread;
};

} // namespace VexaSsl::test
