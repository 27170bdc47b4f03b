// A server of the load test. Its threads accept one connection after another by AcceptEx and call a
// function for it; that of the honest server runs the handshake and echoes until the peer closes.
//
// Threads: created and destroyed by one thread; it runs threads of its own.
#pragma once

#include "integration/support/ConnectedPair.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace VexaSsl::test {

// A log that only counts its lines.
class CountingLog : public ILog {
public:
    void log(Severity severity, const std::wstring&) override {
        errors += severity == Severity::Error ? 1 : 0;
    }
    void setMinimumSeverity(Severity) override {}

    std::size_t count() const { return errors; }

private:
    std::atomic<std::size_t> errors{0};
};

// Serves an accepted connection, whose stack awaits completeAcceptEx. Several threads call it at
// the same time, each with its own connection.
using Service = std::function<void(ISocketStrategy&, HostSocket&)>;

// The honest service: the handshake, then an echo until the peer closes.
void serveHonestly(ISocketStrategy& stack, HostSocket& socket);

class LoadServer {
public:
    // workers: the number of simultaneous connections.
    explicit LoadServer(std::size_t workers, Service service = serveHonestly);
    // Accepts no more connections and waits for the end of the existing ones.
    ~LoadServer();
    LoadServer(const LoadServer&) = delete;
    LoadServer& operator=(const LoadServer&) = delete;

    std::uint16_t port() const { return boundPort; }

private:
    void work();
    bool acceptNext(const IConfig& config);

    const Service serve;
    const SOCKET listening;
    std::uint16_t boundPort = 0;
    std::atomic<bool> ending{false};
    CountingLog log;
    std::vector<std::thread> threads;
};

} // namespace VexaSsl::test
