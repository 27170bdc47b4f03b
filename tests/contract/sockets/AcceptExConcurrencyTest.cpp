// AcceptEx while its sockets are closed and others accept on the same listener.
#include "contract/sockets/AcceptCall.h"

#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace VexaSsl::test {

using AcceptExConcurrency = ContractTest;

TEST_F(AcceptExConcurrency, closingTheListenerAbortsTheAccept) {
    Socket listener = listenOnLoopback();
    const ScopedEvent event;
    auto accept = std::make_unique<Accept>(0, event.get());
    ASSERT_EQ(accept->post(listener), WSA_IO_PENDING);
    const std::jthread other([&] {
        yieldToOtherThreads();
        listener.close();
    });
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_TRUE(isAborted(accept->finish(accept->socket, false)));
    accept.reset();
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
}

TEST_F(AcceptExConcurrency, closingTheListenerAbortsTheWaitForFirstData) {
    Socket listener = listenOnLoopback();
    const ScopedEvent event;
    Accept accept(8, event.get());
    const Socket client = connectedTo(listener);
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    listener.close();
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_TRUE(isAborted(accept.finish(accept.socket, false)));
}

TEST_F(AcceptExConcurrency, closingTheAcceptSocketAbortsTheWaitForFirstData) {
    const Socket listener = listenOnLoopback();
    const ScopedEvent event;
    Accept accept(8, event.get());
    const Socket client = connectedTo(listener);
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    accept.socket.close();
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_TRUE(isAborted(accept.finish(listener, false)));
    char byte = 0;
    EXPECT_EQ(platform::recv(client.get(), &byte, 1, 0), 0); // the connection has ended with it
}

TEST_F(AcceptExConcurrency, pendingAcceptTakesDeferredConnection) {
    const Socket listener = listenOnLoopback();
    const ScopedEvent event;
    const Socket client = connectedTo(listener);
    const auto defer = [](WSABUF*, WSABUF*, QOS*, QOS*, WSABUF*, WSABUF*, GROUP*, DWORD_PTR) {
        return CF_DEFER;
    };
    ASSERT_EQ(platform::WSAAccept(listener.get(), nullptr, nullptr, defer, 0), INVALID_SOCKET);
    Accept accept(0, event.get());
    EXPECT_TRUE(startedReady(accept.post(listener)));
    EXPECT_EQ(accept.finish(listener, true), 0);
    EXPECT_EQ(accept.remote().sin_port, addressOf(client).sin_port);
}

TEST_F(AcceptExConcurrency, blockingAcceptSharesTheListener) {
    Socket listener = listenOnLoopback();
    constexpr int connections = 200;
    int plain = 0;
    const SOCKET listening = listener.get();
    std::jthread acceptor([&plain, listening] {
        for (;;) {
            const Socket server(platform::accept(listening, nullptr, nullptr));
            if (!server.isValid()) {
                EXPECT_NE(platform::WSAGetLastError(), WSAEWOULDBLOCK);
                return;
            }
            ++plain;
        }
    });
    const ScopedPort port;
    ASSERT_TRUE(port.bind(listener, 1));
    int overlapped = 0;
    auto accept = std::make_unique<Accept>();
    int posted = accept->post(listener);
    for (int i = 0; i < connections; ++i) {
        const Socket client = connectedTo(listener);
        while (dequeue(port.get(), 0).overlapped != nullptr) {
            ++overlapped;
            accept = std::make_unique<Accept>();
            posted = accept->post(listener);
            ASSERT_TRUE(posted == 0 || posted == WSA_IO_PENDING);
        }
    }
    yieldToOtherThreads();
    endAccepts(listener);
    acceptor.join();
    while (dequeue(port.get(), 0).result != FALSE) {
        ++overlapped;
    }
    EXPECT_EQ(plain + overlapped, connections);
}

} // namespace VexaSsl::test
