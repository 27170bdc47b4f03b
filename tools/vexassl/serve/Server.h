// The accept loop of serve: accepts connections up to a maximum, starts them, and destroys those
// that have ended.
//
// Threads: one runs it and destroys it; the event to stop may be set by any.
#pragma once

#include "common/HostNetwork.h"
#include "common/OwnedEvent.h"
#include "serve/ConnectionList.h"
#include "serve/PortThreads.h"
#include "serve/ServedConnection.h"
#include "serve/ThrottledMessages.h"

#include <memory>
#include <span>

namespace VexaSsl::tool {

class Server {
public:
    // Setting stop ends the server. Both are borrowed and outlive it.
    Server(const Service& service, Listener listener, OwnedEvent& stop);
    // Ends every connection and waits for its end, also after run has thrown.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Runs until it is stopped, or until the requested number of connections has ended. Returns the
    // status of the first failed connection, also of one that couldn't be started, when a number
    // was requested; else, and after a stop, Success. Throws Failure (CannotConnect) when waiting
    // for clients keeps failing.
    ExitStatus run();

private:
    enum class Step {
        Accepted,
        Missed,
        Stopped,
        WaitFailed, // waiting keeps failing
    };

    std::unique_ptr<ServedConnection> makeConnection();
    bool acceptsMore() const;
    bool acceptOne();
    Step acceptNext();
    Step acceptPosted();
    Step acceptWaiting();
    DWORD waitFor(std::span<const HANDLE> events, DWORD milliseconds);
    bool waitForRoom();
    bool waitForEnd();
    void reportMissedPeer();
    bool backOff();
    bool isStopped(DWORD milliseconds);
    int pollListener();
    void startPending();
    void reap();
    // Stores the outcome of a connection if it is the first failure.
    void note(ExitStatus outcome);
    void end();

    const Service& service;
    Listener listener;
    OwnedEvent& stopRequested;
    OwnedEvent acceptCompleted;
    ToolLog log;
    ThrottledMessages messages;
    std::unique_ptr<ISocketStrategy> plain; // waits on the listener
    ConnectionList connections;
    std::unique_ptr<PortThreads> portThreads; // null when each connection has a thread
    std::unique_ptr<ServedConnection> pending;
    unsigned long lastNumber = 0;
    unsigned taken = 0;
    bool stopped = false;
    int waitError = 0; // of the wait that kept failing
    ExitStatus firstFailure = ExitStatus::Success;
};

} // namespace VexaSsl::tool
