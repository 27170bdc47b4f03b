// Overlapped receives with a completion routine, which runs in an alertable wait of the thread that
// posted them.
#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace VexaSsl::test {

namespace {

// The calls of the routine on this thread and the arguments of the last one.
thread_local int calls = 0;
thread_local DWORD lastStatus = 0;
thread_local DWORD lastCount = 0;
thread_local WSAOVERLAPPED* lastOverlapped = nullptr;

void note(DWORD error, DWORD transferred, WSAOVERLAPPED* overlapped, DWORD) {
    ++calls;
    lastStatus = error;
    lastCount = transferred;
    lastOverlapped = overlapped;
}

// A receive that posts itself again until its stream ends.
struct Relay {
    Receive receive{1};
    const Socket* socket = nullptr;
    std::string text;
    bool isOver = false;

    static void run(DWORD error, DWORD transferred, WSAOVERLAPPED* overlapped, DWORD) {
        Relay& relay = *static_cast<Relay*>(overlapped->hEvent); // free for the host's use
        if (error != 0 || transferred == 0) {
            relay.isOver = true;
            return;
        }
        relay.text += relay.receive.buffer[0];
        relay.receive.post(*relay.socket, run);
    }
};

class CompletionRoutines : public ContractTest {
protected:
    CompletionRoutines() { calls = 0; }
};

} // namespace

using SleepEx = ContractTest;

TEST_F(CompletionRoutines, routinesRunInAlertableSleep) {
    const Pair pair = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server, note), WSA_IO_PENDING);
    sendText(pair.client, "abc");
    EXPECT_EQ(host::SleepEx(10000, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(lastStatus, 0U);
    EXPECT_EQ(lastCount, 3U);
    EXPECT_EQ(lastOverlapped, &receive.overlapped);
}

TEST_F(CompletionRoutines, routinesRunInAlertableWaitForEvents) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    const HANDLE handle = event.get();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server, note), WSA_IO_PENDING);
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(pair.client, "x");
    });
    EXPECT_EQ(host::WSAWaitForMultipleEvents(1, &handle, FALSE, 10000, TRUE),
              WSA_WAIT_IO_COMPLETION);
    EXPECT_EQ(calls, 1);
}

TEST_F(CompletionRoutines, routinesDoNotRunInOtherWaits) {
    const Pair pair = connectedPair();
    sendText(pair.client, "x");
    char byte = 0;
    ASSERT_EQ(platform::recv(pair.server.get(), &byte, 1, msgPeek), 1);
    Receive receive(8);
    EXPECT_EQ(receive.post(pair.server, note), 0); // complete, the routine is due
    const ScopedEvent event;
    EXPECT_EQ(event.wait(10), WSA_WAIT_TIMEOUT);
    EXPECT_EQ(host::SleepEx(1, FALSE), 0U);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(host::SleepEx(0, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_EQ(calls, 1);
}

TEST_F(CompletionRoutines, routinesDoNotRunOnOtherThreads) {
    const Pair pair = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server, note), WSA_IO_PENDING);
    sendText(pair.client, "x");
    std::thread([] {
        EXPECT_EQ(host::SleepEx(10, TRUE), 0U);
        EXPECT_EQ(calls, 0);
    }).join();
    EXPECT_EQ(host::SleepEx(10000, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_EQ(calls, 1);
}

TEST_F(CompletionRoutines, eventFieldIsFreeForTheHost) {
    const Pair pair = connectedPair();
    int anything = 0;
    Receive receive(8, &anything);
    ASSERT_EQ(receive.post(pair.server, note), WSA_IO_PENDING);
    sendText(pair.client, "x");
    EXPECT_EQ(host::SleepEx(10000, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_EQ(receive.overlapped.hEvent, &anything);
}

TEST_F(CompletionRoutines, routineMayPostAgain) {
    Pair pair = connectedPair();
    Relay relay;
    relay.receive.overlapped.hEvent = &relay;
    relay.socket = &pair.server;
    ASSERT_EQ(relay.receive.post(pair.server, Relay::run), WSA_IO_PENDING);
    const std::jthread peer([&] {
        sendByteByByte(pair.client, "relay");
        pair.client.close();
    });
    while (!relay.isOver) {
        ASSERT_EQ(host::SleepEx(10000, TRUE), WSA_WAIT_IO_COMPLETION);
    }
    EXPECT_EQ(relay.text, "relay");
}

TEST_F(CompletionRoutines, routineReportsClosedSocket) {
    Pair pair = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server, note), WSA_IO_PENDING);
    pair.server.close();
    EXPECT_EQ(host::SleepEx(0, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_TRUE(isAborted(static_cast<int>(lastStatus)));
    EXPECT_EQ(lastCount, 0U);
}

TEST_F(CompletionRoutines, closingOnAnotherThreadWakesTheRoutinesThread) {
    Pair pair = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server, note), WSA_IO_PENDING);
    const std::jthread other([&] {
        yieldToOtherThreads();
        pair.server.close();
    });
    EXPECT_EQ(host::SleepEx(10000, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_TRUE(isAborted(static_cast<int>(lastStatus)));
}

TEST_F(CompletionRoutines, routineIsRefusedOnSocketBoundToPort) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(8);
    EXPECT_EQ(receive.post(pair.server, note), WSAEINVAL);
    WSAOVERLAPPED overlapped{};
    char text[] = "x";
    WSABUF view{1, text};
    EXPECT_EQ(platform::WSASend(pair.server.get(), &view, 1, nullptr, 0, &overlapped, note),
              SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEINVAL);
}

TEST_F(CompletionRoutines, setEventEndsTheWaitBeforeRoutinesRun) {
    const Pair pair = connectedPair();
    const ScopedEvent event;
    const HANDLE handle = event.get();
    host::WSASetEvent(handle);
    Pair other = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(other.server, note), WSA_IO_PENDING);
    other.server.close();
    EXPECT_EQ(host::WSAWaitForMultipleEvents(1, &handle, FALSE, 0, TRUE), WSA_WAIT_EVENT_0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(host::SleepEx(0, TRUE), WSA_WAIT_IO_COMPLETION);
}

TEST_F(CompletionRoutines, pendingRoutinesEndWithTheirThread) {
    const Pair pair = connectedPair();
    auto receive = std::make_unique<Receive>(8);
    std::thread([&] { ASSERT_EQ(receive->post(pair.server, note), WSA_IO_PENDING); }).join();
    EXPECT_TRUE(isAborted(receive->finish(pair.server, false)));
    receive.reset();
    sendText(pair.client, "x");
    EXPECT_EQ(receiveText(pair.server, 1), "x");
}

TEST_F(CompletionRoutines, routineRunsAfterSend) {
    const Pair pair = connectedPair();
    WSAOVERLAPPED overlapped{};
    char text[] = "sent";
    WSABUF view{4, text};
    EXPECT_EQ(platform::WSASend(pair.client.get(), &view, 1, nullptr, 0, &overlapped, note), 0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(host::SleepEx(0, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_EQ(lastCount, 4U);
}

TEST_F(SleepEx, sleepWithoutRoutinesLastsItsTime) {
    EXPECT_EQ(host::SleepEx(5, TRUE), 0U);
    EXPECT_EQ(host::SleepEx(5, FALSE), 0U);
}

} // namespace VexaSsl::test
