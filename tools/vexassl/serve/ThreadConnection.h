// A connection that is served by a thread of its own.
#pragma once

#include "common/Receiver.h"
#include "serve/ServedConnection.h"

#include <functional>
#include <memory>
#include <thread>

namespace VexaSsl::tool {

class ThreadConnection : public ServedConnection {
public:
    using ServedConnection::ServedConnection;
    // Waits for the thread.
    ~ThreadConnection() override;
    ThreadConnection(const ThreadConnection&) = delete;
    ThreadConnection& operator=(const ThreadConnection&) = delete;

    void start(std::function<void()> ended) override;

private:
    void run();
    void serveMail(Watchdog::Guard& guard);
    std::unique_ptr<Receiver> makeReceiver();
    void echo(Receiver& receiver, Watchdog::Guard& guard);
    void answerWebRequest(Receiver& receiver, Watchdog::Guard& guard);
    void closeAfterResponse(Receiver& receiver);

    std::thread thread;
};

} // namespace VexaSsl::tool
