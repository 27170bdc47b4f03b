// The smallest host: sends a line to the server on PORT of this machine and prints the answer.
//
//   first_host PORT
#include <VexaPlatform/Certificates.h>
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <iostream>

using namespace VexaSsl;

int main(int argc, char** argv) {
    SslLog log; // outlives everything that is made with it
    platform::setCertificateFolder("try");
    const auto config = constructSslConfigurationFromIniFile(log, "try/try.ini", L"Client");
    const auto strategy = instantiateSocketStrategy(log, *config); // one per connection

    const SOCKET s = platform::socket(AF_INET, SOCK_STREAM, 0);
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* address = nullptr; // the name resolved is the name that the certificate must carry
    if (argc != 2 || strategy->getaddrinfo("localhost", argv[1], &hints, &address) != 0 ||
        strategy->connect(s, address->ai_addr, static_cast<int>(address->ai_addrlen)) != 0) {
        // The log explains a failed handshake.
        std::wcerr << L"error " << platform::WSAGetLastError() << L"\n";
        return 1;
    }
    char line[] = "hello\n";
    constexpr int length = sizeof line - 1;
    strategy->send(s, line, length, 0);
    if (strategy->recv(s, line, length, msgWaitAll) == length) {
        std::wcout << line; // SslLog writes to the same stream
    }
    platform::freeaddrinfo(address);
    platform::closesocket(s);
}
