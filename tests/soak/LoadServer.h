// A server of the load test: threads that each accept one connection after another by an
// overlapped accept, and serve it as they were told: most of them run the handshake and echo until
// the peer is gone.
//
// Threads: made and destroyed by one; everything else happens on its own.
#pragma once

#include "integration/support/Meeting.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace VexaSsl::test {

// A sink that only counts.
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

// What becomes of a connection that has been accepted, with a stack that awaits completeAcceptEx.
// Several threads call it at once, each with its own connection.
using Service = std::function<void(ISocketStrategy&, HostSocket&)>;

// The honest one: the handshake, then an echo until the peer is gone.
void serveHonestly(ISocketStrategy& stack, HostSocket& socket);

class LoadServer {
public:
    // workers: how many connections it takes at once.
    explicit LoadServer(std::size_t workers, Service service = serveHonestly);
    // Takes nobody any more, and waits for those that are there.
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
