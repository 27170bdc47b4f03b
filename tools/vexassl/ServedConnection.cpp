#include "ServedConnection.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t bufferSize = 32768;

// How much of a refused request is read and thrown away, so that closing doesn't reset the
// connection before the peer has read the answer.
constexpr std::size_t maximumDiscarded = 262144;

std::string narrow(const IConfig& config, const std::wstring& key) {
    return printableText(config.getValue(key));
}

} // namespace

ServedConnection::ServedConnection(const Service& sharedService, unsigned long connectionNumber,
                                   int family)
    : service(sharedService), number(connectionNumber),
      log(sharedService.printer, "#" + std::to_string(connectionNumber) + " "),
      socket(platform::socket(family, SOCK_STREAM, 0)),
      strategy(makeStrategy(log, sharedService.config)) {}

ServedConnection::~ServedConnection() {
    if (thread.joinable()) {
        thread.join();
    }
}

bool ServedConnection::postAccept(SOCKET listener, HANDLE event) {
    acceptState = {};
    acceptState.hEvent = event;
    DWORD received = 0;
    return strategy->AcceptEx(listener, socket.get(), addresses.data(), 0, addressRoom, addressRoom,
                              &received, &acceptState) != FALSE ||
           platform::WSAGetLastError() == WSA_IO_PENDING;
}

bool ServedConnection::accepted(SOCKET listener) {
    DWORD received = 0;
    DWORD flags = 0;
    return platform::WSAGetOverlappedResult(listener, &acceptState, &received, FALSE, &flags) !=
           FALSE;
}

void ServedConnection::start(std::function<void()> ended) {
    thread = std::thread([this, ended = std::move(ended)] {
        try {
            run();
        } catch (const std::exception& error) {
            report(error.what());
        }
        strategy.reset();
        socket.close();
        isFinished = true;
        ended();
    });
}

void ServedConnection::run() {
    Watchdog::Guard guard(service.watchdog, socket.get(), service.options.connection.timeout());
    if (strategy->completeAcceptEx() == SOCKET_ERROR) {
        report(guard.expired() ? "timed out during the handshake" : causeText(log.diagnosis()));
        return;
    }
    guard.restart();
    serve(guard);
}

void ServedConnection::serve(Watchdog::Guard& guard) {
    const std::unique_ptr<Receiver> receiver = service.options.overlapped
                                                   ? makeOverlappedReceiver(*strategy, socket.get())
                                                   : makeBlockingReceiver(*strategy, socket.get());
    if (service.options.web) {
        answerWebRequest(*receiver, guard);
    } else {
        echo(*receiver, guard);
    }
}

void ServedConnection::echo(Receiver& receiver, Watchdog::Guard& guard) {
    std::vector<char> buffer(bufferSize);
    int count = 0;
    while ((count = receiver.receive(buffer.data(), static_cast<int>(buffer.size()))) > 0) {
        guard.restart();
        if (!sendAll(buffer.data(), static_cast<std::size_t>(count))) {
            count = SOCKET_ERROR;
            break;
        }
        guard.restart();
    }
    reportEnd(count, guard);
}

// The guard isn't restarted between pieces of a head: a request fed byte by byte has one period.
void ServedConnection::answerWebRequest(Receiver& receiver, Watchdog::Guard& guard) {
    std::vector<char> buffer(bufferSize);
    std::string received;
    std::size_t headSize = 0;
    while (headSize == 0 && received.size() <= maximumRequestHead) {
        const int count = receiver.receive(buffer.data(), static_cast<int>(buffer.size()));
        if (count <= 0) {
            reportEnd(count, guard);
            return;
        }
        received.append(buffer.data(), static_cast<std::size_t>(count));
        headSize = requestHeadSize(received);
    }
    const bool isTooLong = headSize == 0 || headSize > maximumRequestHead;
    const std::string answer =
        isTooLong ? answerTooLong()
                  : answerRequest(std::string_view(received).substr(0, headSize), facts());
    guard.restart();
    if (!sendAll(answer.data(), answer.size())) {
        reportEnd(SOCKET_ERROR, guard);
        return;
    }
    platform::shutdown(socket.get(), SD_SEND);
    if (isTooLong || received.size() > headSize) {
        discardRest(receiver);
    }
}

void ServedConnection::discardRest(Receiver& receiver) {
    std::vector<char> buffer(bufferSize);
    std::size_t discarded = 0;
    while (discarded < maximumDiscarded) {
        const int count = receiver.receive(buffer.data(), static_cast<int>(buffer.size()));
        if (count <= 0) {
            return;
        }
        discarded += static_cast<std::size_t>(count);
    }
}

bool ServedConnection::sendAll(const char* data, std::size_t size) {
    while (size > 0) {
        const int piece = static_cast<int>(std::min<std::size_t>(size, bufferSize));
        const int count = strategy->send(socket.get(), data, piece, 0);
        if (count == SOCKET_ERROR) {
            return false;
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

ConnectionFacts ServedConnection::facts() const {
    const IConfig& config = service.config;
    return {
        {"connection", std::to_string(number)},
        {"peer", peerAddressText(socket.get())},
        {"here", localAddressText(socket.get())},
        {"receives", service.options.overlapped ? "overlapped" : "blocking"},
        {"UseEncryption", narrow(config, L"UseEncryption")},
        {"RequireClientAuthentication", narrow(config, L"RequireClientAuthentication")},
        {"ServerCertificateToSendName", narrow(config, L"ServerCertificateToSendName")},
        {"ConnectionName", narrow(config, L"ConnectionName")},
    };
}

// The peer's orderly closure ends an overlapped receive with a failure; it is an end all the same.
void ServedConnection::reportEnd(int lastResult, const Watchdog::Guard& guard) {
    const int error = platform::WSAGetLastError();
    const Diagnosis diagnosis = log.diagnosis();
    if (guard.expired()) {
        report("timed out");
    } else if (diagnosis.status() != ExitStatus::Well) {
        report(causeText(diagnosis));
    } else if (lastResult < 0 && !diagnosis.peerClosed()) {
        report("connection lost: " + socketErrorText(error));
    }
}

void ServedConnection::report(const std::string& text) {
    service.printer.print("vexassl: #" + std::to_string(number) + ": " + text);
}

} // namespace VexaSsl::tool
