// A client and a server that start in clear text, agree to switch, and continue encrypted. Both are
// in this program, each with its own strategy.
//
//   opportunistic_pair INI-FILE CONNECTION
//
// The connection must have UseEncryption=Opportunistically and no log layers.
#include "Breakpoints.h"
#include "Listener.h"

#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <exception>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace VexaSsl;

// Client and server log from two threads, and SslLog has no lock.
class LockedLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override {
        const std::lock_guard guard(mutex);
        sink.log(severity, text);
    }
    void setMinimumSeverity(Severity severity) override {
        const std::lock_guard guard(mutex);
        sink.setMinimumSeverity(severity);
    }

private:
    std::mutex mutex;
    SslLog sink;
};

void sendLine(ISocketStrategy& strategy, SOCKET s, const std::string& line) {
    const int length = static_cast<int>(line.size());
    if (strategy.send(s, line.data(), length, 0) != length) {
        throw std::runtime_error("cannot send");
    }
}

// Reads byte by byte, so that nothing after the line is read: clear text that follows the agreement
// to switch must never be used as if it had been received encrypted.
std::string receiveLine(ISocketStrategy& strategy, SOCKET s) {
    std::string line;
    char byte = 0;
    while (line.empty() || line.back() != '\n') {
        if (strategy.recv(s, &byte, 1, 0) != 1) {
            throw std::runtime_error("the connection has ended");
        }
        line += byte;
    }
    return line;
}

void switchToTls(ISocketStrategy& strategy) {
    auto* otls = dynamic_cast<IOtlsProvider*>(&strategy);
    if (otls == nullptr || otls->startOtls() != 0) {
        throw std::runtime_error("cannot switch to TLS: see the log");
    }
}

void resolve(ISocketStrategy& strategy, const std::string& port, AddressList& addresses) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    if (strategy.getaddrinfo("localhost", port.c_str(), &hints, &addresses.list) != 0) {
        throw std::runtime_error("cannot resolve localhost");
    }
}

void serve(ILog& log, const IConfig& config, SOCKET listener) try {
    const auto strategy = instantiateSocketStrategy(log, config);
    AddressList own; // a server, too, must resolve a name before it switches
    resolve(*strategy, "0", own);
    const SOCKET s = strategy->accept(listener, nullptr, nullptr);
    const SocketCloser connection{s};
    if (receiveLine(*strategy, s) == "STARTTLS\n") {
        sendLine(*strategy, s, "go ahead\n");
        switchToTls(*strategy);
        sendLine(*strategy, s, "you said: " + receiveLine(*strategy, s));
    }
} catch (const std::exception& error) {
    std::cerr << "server: " << error.what() << "\n";
}

std::string ask(ILog& log, const IConfig& config, const std::string& port) {
    const auto strategy = instantiateSocketStrategy(log, config);
    AddressList server; // the server's certificate must have the name resolved here
    resolve(*strategy, port, server);
    const SOCKET s = socket(server.list->ai_family, SOCK_STREAM, 0);
    const SocketCloser connection{s};
    if (strategy->connect(s, server.list->ai_addr, static_cast<int>(server.list->ai_addrlen)) !=
        0) {
        throw std::runtime_error("cannot connect");
    }
    sendLine(*strategy, s, "STARTTLS\n");
    if (receiveLine(*strategy, s) != "go ahead\n") {
        throw std::runtime_error("the server refuses TLS"); // never continue in clear text
    }
    switchToTls(*strategy);
    sendLine(*strategy, s, "in confidence\n");
    return receiveLine(*strategy, s);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "opportunistic_pair INI-FILE CONNECTION\n";
        return 1;
    }
    try {
        const Winsock winsock;
        const BreakpointHandler breakpoints;
        LockedLog log;
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[1], convertNarrowToWide(argv[2]));
        const SOCKET listener = listenLocally(0);
        std::thread server([&] { serve(log, *config, listener); });
        std::string answer;
        try {
            answer = ask(log, *config, std::to_string(portOf(listener)));
        } catch (const std::exception& error) {
            std::cerr << "client: " << error.what() << "\n";
        }
        closesocket(listener); // ends a server that is still waiting in accept
        server.join();
        std::cout << answer << std::flush;
        return answer.empty() ? 1 : 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << " (the log may have the reason)\n";
        return 1;
    }
}
