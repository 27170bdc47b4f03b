// A hostile network between two sockets: forwards the bytes of one connection and can cut the
// connection after a byte, deliver in pieces, or change a byte.
//
// Runs one thread during its lifetime. The counts may be read at any time.
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
    std::optional<std::size_t> cutAfter = {}; // the connection ends after that many bytes
    Ending ending = Ending::close;
    std::optional<std::size_t> splitAt = {};  // bytes before and after it are delivered separately
    std::size_t pieceSize = 0;                // the size of all pieces; 0: as received
    std::optional<std::size_t> changeAt = {}; // this byte is changed
    // Bytes after holdAfter are delivered together once holdUntil bytes have been received.
    std::optional<std::size_t> holdAfter = {};
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
    // Returns all bytes of both directions in the order of receiving.
    std::string captured() const;

private:
    struct Direction {
        Treatment treatment;
        std::string waiting; // received, not delivered yet
        std::atomic<std::size_t> passed{0};
        bool ended = false;
    };

    void run(std::uint16_t targetPort);
    void passOn();
    // Reads once from a direction. Returns false when the connection has been cut.
    bool passSome(Direction& direction, const HostSocket& from, const HostSocket& to);
    // Delivers the first size bytes of waiting.
    void deliver(Direction& direction, const HostSocket& to, std::size_t size);
    void cut(Ending ending);

    Listener listener;
    HostSocket wakeWriter; // connected to wakeReader; closing it ends the thread
    HostSocket wakeReader;
    HostSocket client;
    HostSocket server;
    Direction toServer;
    Direction toClient;
    mutable std::mutex mutex;
    std::string seen;
    std::thread thread;
};

} // namespace VexaSsl::test
