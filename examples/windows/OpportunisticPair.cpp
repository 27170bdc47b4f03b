// A client and a server that begin in the clear, agree to switch, and go on encrypted: both ends in
// one program, each with its own strategy.
//
//   opportunistic_pair INI-FILE CONNECTION
//
// The connection is configured with UseEncryption=Opportunistically, without log layers.
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

// The two ends log from two threads, and SslLog has no lock.
class SharedLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override {
        const std::lock_guard guard(lock);
        sink.log(severity, text);
    }
    void setMinimumSeverity(Severity severity) override {
        const std::lock_guard guard(lock);
        sink.setMinimumSeverity(severity);
    }

private:
    std::mutex lock;
    SslLog sink;
};

void say(ISocketStrategy& strategy, SOCKET s, const std::string& line) {
    const int length = static_cast<int>(line.size());
    if (strategy.send(s, line.data(), length, 0) != length) {
        throw std::runtime_error("the peer takes nothing more");
    }
}

// Reads one line, byte by byte: what stands behind an agreement to switch must never be read as a
// part of what comes secured, and so it is never taken in.
std::string hear(ISocketStrategy& strategy, SOCKET s) {
    std::string line;
    char byte = 0;
    while (line.empty() || line.back() != '\n') {
        if (strategy.recv(s, &byte, 1, 0) != 1) {
            throw std::runtime_error("the peer has gone");
        }
        line += byte;
    }
    return line;
}

void switchToTls(ISocketStrategy& strategy) {
    auto* otls = dynamic_cast<IOtlsProvider*>(&strategy);
    if (otls == nullptr || otls->startOtls() != 0) {
        throw std::runtime_error("no encryption; the log tells why");
    }
}

void resolve(ISocketStrategy& strategy, const std::string& port, FreeLater& addresses) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    if (strategy.getaddrinfo("localhost", port.c_str(), &hints, &addresses.list) != 0) {
        throw std::runtime_error("localhost can't be resolved");
    }
}

void serve(ILog& log, const IConfig& config, SOCKET listener) try {
    const auto strategy = instantiateSocketStrategy(log, config);
    FreeLater own; // a server, too, resolves a name before it switches
    resolve(*strategy, "0", own);
    const SOCKET s = strategy->accept(listener, nullptr, nullptr);
    const CloseLater connection{s};
    if (hear(*strategy, s) == "STARTTLS\n") {
        say(*strategy, s, "go ahead\n");
        switchToTls(*strategy);
        say(*strategy, s, "you said: " + hear(*strategy, s));
    }
} catch (const std::exception& error) {
    std::cerr << "server: " << error.what() << "\n";
}

std::string ask(ILog& log, const IConfig& config, const std::string& port) {
    const auto strategy = instantiateSocketStrategy(log, config);
    FreeLater server; // the name resolved here is the one that the certificate must carry
    resolve(*strategy, port, server);
    const SOCKET s = socket(server.list->ai_family, SOCK_STREAM, 0);
    const CloseLater connection{
        s}; // also where the switch fails: nothing is said in the clear then
    if (strategy->connect(s, server.list->ai_addr, static_cast<int>(server.list->ai_addrlen)) !=
        0) {
        throw std::runtime_error("no connection");
    }
    say(*strategy, s, "STARTTLS\n");
    if (hear(*strategy, s) != "go ahead\n") {
        throw std::runtime_error("the server doesn't switch"); // and so nothing more is said
    }
    switchToTls(*strategy);
    say(*strategy, s, "in confidence\n");
    return hear(*strategy, s);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "opportunistic_pair INI-FILE CONNECTION\n";
        return 1;
    }
    try {
        const Winsock winsock;
        SharedLog log;
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
        closesocket(listener); // a server that is still waiting ends
        server.join();
        std::cout << answer << std::flush;
        return answer.empty() ? 1 : 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "; the log tells more\n";
        return 1;
    }
}
