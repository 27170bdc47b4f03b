// The accept loop of serve: takes connections, each on a stack and a thread of its own, within a
// bound, and joins those that have ended.
//
// Threads: one runs it and destroys it; the event to stop may be set by any.
#pragma once

#include "common/HostNetwork.h"
#include "common/OwnedEvent.h"
#include "serve/ServedConnection.h"
#include "serve/ThrottledMessages.h"

#include <list>
#include <memory>
#include <span>

namespace VexaSsl::tool {

class Server {
public:
    // stop ends the server when it is set. Both are borrowed and outlive it.
    Server(const Service& sharedService, Listener listeningSocket, OwnedEvent& stop);
    // Ends every connection and waits for their threads, also when run has thrown.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Runs until it is stopped, or until the wanted number of connections has come and gone.
    // Result: with a wanted number the outcome of the first connection that didn't go well; else
    // Well, as it is for a server that was stopped.
    // Throws Failure (CannotConnect) when nobody can be waited for any more.
    ExitStatus run();

private:
    enum class Step {
        Accepted,
        Missed,
        Stopped,
        Deaf, // nobody can be waited for any more
    };

    bool wantsMore() const;
    bool acceptOne();
    Step acceptNext();
    Step acceptPosted();
    Step acceptWaiting();
    DWORD waitFor(std::span<const HANDLE> events, DWORD milliseconds);
    bool waitForRoom();
    bool waitForEnd();
    void tellMissed();
    bool rest();
    bool isStopped(DWORD milliseconds);
    int lookForPeer();
    void startPending();
    void reap();
    void end();

    const Service& service;
    Listener listener;
    OwnedEvent& stopRequested;
    OwnedEvent acceptCompleted;
    OwnedEvent connectionEnded;
    ToolLog log;
    ThrottledMessages trouble;
    std::unique_ptr<ISocketStrategy> plain; // for waiting on the listener
    std::unique_ptr<ServedConnection> pending;
    std::list<std::unique_ptr<ServedConnection>> connections;
    unsigned long lastNumber = 0;
    unsigned taken = 0;
    bool stopped = false;
    int lookError = 0; // why nobody can be waited for
    ExitStatus firstFailure = ExitStatus::Well;
};

} // namespace VexaSsl::tool
