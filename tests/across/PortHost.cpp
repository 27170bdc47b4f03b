// A host of the library that accepts and echoes one connection by overlapped operations on a
// completion port.
//
//     port_host INI CONNECTION
//
// Prints "listening on 127.0.0.1:PORT" when it is ready, and the log to standard error.
// Exit status: 0 when the peer has closed, 1 after a failure.
#include "integration/support/HostSocket.h"

#include "VexaSsl/VexaSsl.h"

#include <array>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

using namespace VexaSsl;
using namespace VexaSsl::test;

class PrintedLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override {
        if (severity >= minimum) {
            std::fprintf(stderr, "%d %ls\n", static_cast<int>(severity), text.c_str());
        }
    }
    void setMinimumSeverity(Severity severity) override { minimum = severity; }

private:
    Severity minimum = Severity::Info;
};

// Owns a completion port, for one pending operation at a time.
class CompletionPort {
public:
    CompletionPort() : port(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 0)) {}
    ~CompletionPort() { CloseHandle(port); }
    CompletionPort(const CompletionPort&) = delete;
    CompletionPort& operator=(const CompletionPort&) = delete;

    void take(SOCKET socket) {
        CreateIoCompletionPort(reinterpret_cast<HANDLE>(socket), port, 1, 0);
    }

    // Waits for the pending operation. Sets count to its bytes. Returns whether it has succeeded.
    bool wait(DWORD& count) {
        ULONG_PTR key = 0;
        OVERLAPPED* finished = nullptr;
        return GetQueuedCompletionStatus(port, &count, &key, &finished, timeoutMilliseconds) !=
               FALSE;
    }

private:
    HANDLE port;
};

bool started(bool atOnce) {
    return atOnce || WSAGetLastError() == WSA_IO_PENDING;
}

class Echo {
public:
    Echo(ILog& log, const IConfig& config) : stack(instantiateSocketStrategy(log, config)) {}

    bool accept(const Listener& listener) {
        constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;
        std::array<char, 2 * std::size_t{addressSize}> addresses{};
        port.take(listener.handle());
        OVERLAPPED state{};
        DWORD count = 0;
        const bool atOnce = stack->AcceptEx(listener.handle(), socket.handle(), addresses.data(), 0,
                                            addressSize, addressSize, &count, &state) != FALSE;
        if (!started(atOnce) || !port.wait(count)) {
            return false;
        }
        joinListener(socket.handle(), listener.handle());
        setTimeouts(socket.handle());
        port.take(socket.handle());
        return stack->completeAcceptEx() == 0;
    }

    // Echoes until the peer closes. Returns false after a failure.
    bool serve() {
        for (;;) {
            DWORD count = 0;
            bool isEnd = false;
            if (!receive(count, isEnd)) {
                return false;
            }
            if (isEnd) {
                return true;
            }
            if (!sendBack(static_cast<int>(count)) || !sendHeld()) {
                return false;
            }
        }
    }

private:
    bool receive(DWORD& count, bool& isEnd) {
        OVERLAPPED state{};
        WSABUF buffer{static_cast<ULONG>(bytes.size()), bytes.data()};
        DWORD flags = 0;
        const bool atOnce =
            stack->WSARecv(socket.handle(), &buffer, 1, &count, &flags, &state, nullptr) == 0;
        if (!started(atOnce) || !port.wait(count)) {
            return false;
        }
        isEnd = count == 0;
        return stack->completeWSARecv(0, &count, nullptr) == 0;
    }

    bool sendBack(int count) {
        return stack->send(socket.handle(), bytes.data(), count, 0) == count;
    }

    // Plaintext that is held after a completion is not announced by another one.
    bool sendHeld() {
        for (;;) {
            fd_set readable{};
            FD_SET(socket.handle(), &readable);
            const timeval atOnce{};
            if (stack->select(0, &readable, nullptr, nullptr, &atOnce) != 1) {
                return true;
            }
            const int count =
                stack->recv(socket.handle(), bytes.data(), static_cast<int>(bytes.size()), 0);
            if (count <= 0) {
                return count == 0; // the next receive reports the end
            }
            if (!sendBack(count)) {
                return false;
            }
        }
    }

    CompletionPort port;
    HostSocket socket = makeSocket();
    std::unique_ptr<ISocketStrategy> stack;
    std::vector<char> bytes = std::vector<char>(65536);
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: port_host INI CONNECTION\n");
        return 1;
    }
    PrintedLog log;
    const std::string name = argv[2];
    const auto config =
        constructSslConfigurationFromIniFile(log, argv[1], std::wstring(name.begin(), name.end()));
    Echo echo(log, *config);
    const Listener listener;
    std::printf("listening on 127.0.0.1:%u\n", static_cast<unsigned>(listener.port()));
    std::fflush(stdout);
    return echo.accept(listener) && echo.serve() ? 0 : 1;
}
