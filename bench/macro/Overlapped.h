// Overlapped receives as a host makes them, one at a time for each connection. All functions throw
// std::runtime_error.
#pragma once

#include "Contender.h"

#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/VexaSsl.h>

#include <cstddef>
#include <memory>

namespace VexaSsl::bench {

// Drops every line, as a host does with lines below its threshold.
class SilentLog : public ILog {
public:
    void log(Severity, const std::wstring&) override {}
    void setMinimumSeverity(Severity) override {}
};

// A completion port for all connections of an end.
class CompletionPort {
public:
    CompletionPort();
    ~CompletionPort();
    CompletionPort(const CompletionPort&) = delete;
    CompletionPort& operator=(const CompletionPort&) = delete;

    HANDLE get() const { return port; }

private:
    HANDLE port;
};

// The ports of a contender. Null, so receives wait with events, unless the terms are for ports.
struct CompletionPorts {
    void prepare(const Terms& terms);

    std::unique_ptr<CompletionPort> client;
    std::unique_ptr<CompletionPort> server;
};

class OverlappedReceive {
public:
    // Waits at the port, or with an event if port is null.
    OverlappedReceive(SOCKET socket, const CompletionPort* port);
    ~OverlappedReceive();
    OverlappedReceive(const OverlappedReceive&) = delete;
    OverlappedReceive& operator=(const OverlappedReceive&) = delete;

    void post(ISocketStrategy& stack, char* data, std::size_t size);
    bool isPosted() const { return posted; }
    // Waits for the posted receive. Returns the bytes stored, which may be 0 with TLS.
    std::size_t finish(ISocketStrategy& stack);

private:
    DWORD wait();

    SOCKET socket;
    const CompletionPort* port;
    WSAOVERLAPPED overlapped{};
    bool posted = false;
};

// A stack without encryption, which passes every call to the system.
std::unique_ptr<ISocketStrategy> makePlainStack();

} // namespace VexaSsl::bench
