// The server of the load test: threads that each accept one connection after another by an
// overlapped accept, run the handshake, and echo until the peer is gone.
//
// Threads: made and destroyed by one; everything else happens on its own.
#pragma once

#include "integration/support/Meeting.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
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

class EchoServer {
public:
    // workers: how many connections it takes at once.
    explicit EchoServer(std::size_t workers);
    // Takes nobody any more, and waits for those that are there.
    ~EchoServer();
    EchoServer(const EchoServer&) = delete;
    EchoServer& operator=(const EchoServer&) = delete;

    std::uint16_t port() const { return boundPort; }
    // Connections that have come, whoever they were from.
    std::size_t accepted() const { return taken; }

private:
    void work();
    bool acceptNext(const IConfig& config);

    const SOCKET listening;
    std::uint16_t boundPort = 0;
    std::atomic<bool> ending{false};
    std::atomic<std::size_t> taken{0};
    CountingLog log;
    std::vector<std::thread> threads;
};

} // namespace VexaSsl::test
