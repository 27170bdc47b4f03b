// The threads of serve --overlapped: one for each core, which serve the completions of all
// connections at one completion port, and short-lived ones for what may block.
//
// Threads: any; made and destroyed by one.
#pragma once

#include "VexaSsl/Sockets.h"
#include "serve/TaskThreads.h"

#include <functional>
#include <thread>
#include <vector>

namespace VexaSsl::tool {

class PortThreads {
public:
    class Client {
    public:
        // Called when the client's operation has completed.
        virtual void completed() noexcept = 0;

    protected:
        ~Client() = default;
    };

    // Throws std::bad_alloc when the system has no port, std::system_error when it has no threads.
    PortThreads();
    // Every client's operations have completed.
    ~PortThreads();
    PortThreads(const PortThreads&) = delete;
    PortThreads& operator=(const PortThreads&) = delete;

    // Operations on the socket call the client from now on. Returns false on failure, with the
    // error in the last-error slot.
    bool bind(SOCKET socket, Client& client);

    // Runs a step that may block, so that it doesn't keep a thread of the port. There is no limit
    // but that on connections: with a smaller one, a few slow peers could hold up all others.
    // Throws as TaskThreads::start does.
    void startBlocking(std::function<void()> step);

private:
    void work() const;
    void stop();

    HANDLE port;
    TaskThreads tasks;
    std::vector<std::thread> workers;
};

} // namespace VexaSsl::tool
