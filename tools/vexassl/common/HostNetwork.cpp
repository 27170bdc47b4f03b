#include "common/HostNetwork.h"

#include "VexaSsl/VexaSsl.h"
#include "common/ExitStatus.h"
#include "common/HostNames.h"
#include "common/ToolLog.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace VexaSsl::tool {

namespace {

struct ErrorWords {
    int error;
    const char* words;
};

constexpr std::array<ErrorWords, 13> errorWords = {{
    {WSAEACCES, "permission denied"},
    {WSAEMFILE, "too many open files"},
    {WSAEADDRINUSE, "address already in use"},
    {WSAEADDRNOTAVAIL, "address not available"},
    {WSAENETUNREACH, "network unreachable"},
    {WSAEHOSTUNREACH, "host unreachable"},
    {WSAECONNABORTED, "connection aborted"},
    {WSAECONNRESET, "connection reset by the peer"},
    {WSAESHUTDOWN, "connection shut down"},
    {WSAETIMEDOUT, "timed out"},
    {WSAECONNREFUSED, "connection refused"},
    {WSAEAFNOSUPPORT, "address family not supported"},
    {WSAHOST_NOT_FOUND, "host not found"},
}};

bool isPort(const std::string& text) {
    const bool digits =
        !text.empty() && text.size() <= 5 &&
        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    return digits && std::stoi(text) >= 1 && std::stoi(text) <= 65535;
}

bool isBracketed(const std::string& text) {
    return text.size() >= 2 && text.front() == '[' && text.back() == ']';
}

[[noreturn]] void refuseEndpoint(const std::string& text, const std::string& reason) {
    throw Failure(ExitStatus::Usage, "[" + text + "] is no HOST:PORT: " + reason);
}

std::string joined(const std::string& host, const std::string& port) {
    const bool isIpv6 = host.find(':') != std::string::npos;
    return (isIpv6 ? "[" + host + "]" : host) + ":" + port;
}

using AddressQuery = decltype(&::getsockname);

std::string queriedAddressText(SOCKET s, AddressQuery query) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    if (query(nativeSocket(s), plain, &length) != 0) {
        return "an unknown address";
    }
    return addressText(plain, length);
}

[[noreturn]] void refuseListening(const Endpoint& endpoint, int error) {
    throw Failure(ExitStatus::CannotConnect,
                  "cannot listen on " + endpoint.text() + ": " + socketErrorText(error));
}

} // namespace

void OwnedSocket::close() {
    if (socket != INVALID_SOCKET) {
        platform::closesocket(std::exchange(socket, INVALID_SOCKET));
    }
}

std::string Endpoint::text() const {
    return joined(host, port);
}

std::string withoutBrackets(const std::string& host) {
    return isBracketed(host) ? host.substr(1, host.size() - 2) : host;
}

Endpoint parseEndpoint(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || isBracketed(text)) {
        refuseEndpoint(text, "there is no port");
    }
    Endpoint result{text.substr(0, colon), text.substr(colon + 1)};
    if (!isBracketed(result.host) && result.host.find(':') != std::string::npos) {
        refuseEndpoint(text, "an IPv6 address needs brackets, as in [::1]:443");
    }
    result.host = withoutBrackets(result.host);
    if (result.host.empty()) {
        refuseEndpoint(text, "there is no host");
    }
    if (const std::optional<std::string> ascii = asciiHostName(result.host)) {
        result.host = *ascii;
    } else {
        refuseEndpoint(text, "the host is no host name");
    }
    if (!isPort(result.port)) {
        refuseEndpoint(text, "the port is a number from 1 to 65535");
    }
    return result;
}

void resolve(ISocketStrategy& strategy, const Endpoint& target, AddressList& addresses,
             const std::string& name) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    const std::string& asked = name.empty() ? target.host : name;
    const int error =
        strategy.getaddrinfo(asked.c_str(), target.port.c_str(), &hints, addresses.receive());
    if (error != 0 || addresses.first() == nullptr) {
        throw Failure(ExitStatus::CannotConnect, "cannot resolve [" + target.host + "]");
    }
}

std::string addressText(const sockaddr* address, socklen_t length) {
    char host[NI_MAXHOST] = {};
    char port[NI_MAXSERV] = {};
    if (::getnameinfo(address, length, host, sizeof host, port, sizeof port,
                      NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "an unknown address";
    }
    return joined(host, port);
}

std::string localAddressText(SOCKET s) {
    return queriedAddressText(s, ::getsockname);
}

std::string peerAddressText(SOCKET s) {
    return queriedAddressText(s, ::getpeername);
}

Listener listenOn(const Endpoint& endpoint) {
    LinePrinter printer;
    ToolLog log(printer);
    const auto plain =
        instantiateSocketStrategy(log, *constructDefaultSslConfiguration(log, L"listen"));
    addrinfo hints{};
    hints.ai_flags = AI_PASSIVE;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    AddressList addresses;
    const int unresolved = plain->getaddrinfo(endpoint.host.c_str(), endpoint.port.c_str(), &hints,
                                              addresses.receive());
    const addrinfo* address = addresses.first();
    if (unresolved != 0 || address == nullptr) {
        refuseListening(endpoint, unresolved != 0 ? unresolved : WSAHOST_NOT_FOUND);
    }
    Listener result{OwnedSocket(platform::socket(address->ai_family, SOCK_STREAM, 0)),
                    address->ai_family};
    if (!result.socket.valid() || !takeOverPort(result.socket.get()) ||
        platform::bind(result.socket.get(), address->ai_addr,
                       static_cast<int>(address->ai_addrlen)) != 0 ||
        platform::listen(result.socket.get(), SOMAXCONN) != 0) {
        refuseListening(endpoint, platform::WSAGetLastError());
    }
    return result;
}

std::string socketErrorText(int error) {
    for (const ErrorWords& entry : errorWords) {
        if (entry.error == error) {
            return entry.words;
        }
    }
    return "socket error " + std::to_string(error);
}

} // namespace VexaSsl::tool
