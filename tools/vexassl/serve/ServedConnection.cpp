#include "serve/ServedConnection.h"

#include "common/SendAll.h"
#include "common/SocketSetup.h"
#include "common/Text.h"
#include "config/Vocabulary.h"
#include "starttls/SmtpServer.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

namespace {

namespace Definition = ConfigurationDefinition;

constexpr std::size_t bufferSize = 32768;

// How much is read and discarded after the last response: closing a socket with unread data resets
// the connection before the peer has read the response.
constexpr std::size_t maximumDiscarded = 262144;

// The name and the value of an option.
ConnectionFacts::value_type optionFact(const IConfig& config, const std::wstring& name) {
    return {printableText(name), printableText(config.getValue(name))};
}

} // namespace

ServedConnection::ServedConnection(const Service& service, unsigned long number)
    : service(service), number(number), log(service.printer, "#" + std::to_string(number) + " "),
      strategy(makeStrategy(log, service.config)) {}

ServedConnection::~ServedConnection() {
    if (thread.joinable()) {
        thread.join();
    }
}

bool ServedConnection::postAccept(const Listener& listener, HANDLE event) {
    socket = OwnedSocket(platform::socket(listener.family, SOCK_STREAM, 0));
    acceptState = {};
    acceptState.hEvent = event;
    DWORD received = 0;
    return socket.valid() &&
           (strategy->AcceptEx(listener.socket.get(), socket.get(), addresses.data(), 0,
                               addressRoom, addressRoom, &received, &acceptState) != FALSE ||
            platform::WSAGetLastError() == WSA_IO_PENDING);
}

bool ServedConnection::accepted(SOCKET listener) {
    DWORD received = 0;
    DWORD flags = 0;
    return platform::WSAGetOverlappedResult(listener, &acceptState, &received, FALSE, &flags) !=
               FALSE &&
           joinListener(socket.get(), listener);
}

bool ServedConnection::acceptNow(SOCKET listener) {
    socket = OwnedSocket(strategy->accept(listener, nullptr, nullptr));
    // On some systems the socket inherits the listener's mode, and the handshake needs blocking
    // calls.
    return socket.valid() && setWaiting(socket.get(), true);
}

void ServedConnection::start(std::function<void()> ended) {
    thread = std::thread([this, ended = std::move(ended)] {
        try {
            peer = peerAddressText(socket.get());
            service.report.begun(number, peer);
            run();
        } catch (const std::exception& error) {
            reportBreakdown(error.what());
        }
        strategy.reset();
        socket.close();
        service.report.ended(number, peer, status, failureText);
        isFinished = true;
        ended();
    });
}

void ServedConnection::run() {
    log.onBrokenStream([this] { endTraffic(socket.get()); });
    sendAtOnce(socket.get());
    Watchdog::Guard guard(service.watchdog, socket.get(), service.options.connection.timeout());
    if (!service.options.startTls.empty()) {
        serveMail(guard);
        return;
    }
    if (strategy->completeAcceptEx() == SOCKET_ERROR) {
        reportHandshake(guard);
        return;
    }
    guard.restart();
    const auto receiver = makeReceiver();
    if (service.options.web) {
        answerWebRequest(*receiver, guard);
    } else {
        echo(*receiver, guard);
    }
}

std::unique_ptr<Receiver> ServedConnection::makeReceiver() {
    const bool staysClear = service.options.startTls.empty() && isOpportunistic(service.config);
    const StackState passing = staysClear ? StackState::Clear : StackState::AsConfigured;
    return service.options.overlapped ? makeOverlappedReceiver(*strategy, socket.get())
                                      : makeBlockingReceiver(*strategy, socket.get(), passing);
}

void ServedConnection::serveMail(Watchdog::Guard& guard) {
    // A switch needs a name that was resolved through the stack, on a server too.
    AddressList found;
    strategy->getaddrinfo("localhost", nullptr, nullptr, found.receive());
    SmtpServer session(*strategy, socket.get(), guard, [this] { return makeReceiver(); });
    switch (session.run([this](const Envelope& mail) { service.report.message(number, mail); })) {
    case SmtpServer::End::Success:
        closeAfterResponse(session.currentReceiver());
        break;
    case SmtpServer::End::Refused:
        report(ExitStatus::Handshake, "refused: clear text after STARTTLS");
        closeAfterResponse(session.currentReceiver());
        break;
    case SmtpServer::End::NoSwitch:
        reportHandshake(guard);
        break;
    case SmtpServer::End::Closed:
    case SmtpServer::End::Lost:
        reportEnd(session.streamEnd(), guard);
        break;
    }
}

void ServedConnection::echo(Receiver& receiver, Watchdog::Guard& guard) {
    std::vector<char> buffer(bufferSize);
    int count = 0;
    while ((count = receiver.receive(buffer.data(), static_cast<int>(buffer.size()))) > 0) {
        guard.restart();
        if (!sendAll(*strategy, socket.get(), {buffer.data(), static_cast<std::size_t>(count)})) {
            reportEnd(StreamEnd::Lost, guard);
            return;
        }
        guard.restart();
    }
    reportEnd(receiver.end(), guard);
}

// The guard isn't restarted between pieces of a head: a request sent byte by byte has one period.
void ServedConnection::answerWebRequest(Receiver& receiver, Watchdog::Guard& guard) {
    std::vector<char> buffer(bufferSize);
    std::string received;
    std::size_t headSize = 0;
    while (headSize == 0 && received.size() <= maximumRequestHead) {
        const int count = receiver.receive(buffer.data(), static_cast<int>(buffer.size()));
        if (count <= 0) {
            reportEnd(receiver.end(), guard);
            return;
        }
        received.append(buffer.data(), static_cast<std::size_t>(count));
        headSize = requestHeadSize(received);
    }
    const bool isTooLong = headSize == 0 || headSize > maximumRequestHead;
    const std::string answer =
        isTooLong ? httpHeadTooLong()
                  : httpResponse(std::string_view(received).substr(0, headSize), facts());
    guard.restart();
    if (!sendAll(*strategy, socket.get(), answer)) {
        reportEnd(StreamEnd::Lost, guard);
        return;
    }
    closeAfterResponse(receiver);
}

void ServedConnection::closeAfterResponse(Receiver& receiver) {
    platform::shutdown(socket.get(), SD_SEND);
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

ConnectionFacts ServedConnection::facts() const {
    const IConfig& config = service.config;
    return {
        {"connection", std::to_string(number)},
        {"peer", peer},
        {"here", localAddressText(socket.get())},
        {"receives", service.options.overlapped ? "overlapped" : "blocking"},
        optionFact(config, Definition::ConnectionOptions::UseEncryption),
        optionFact(config, Definition::ConnectionOptions::RequireClientAuthentication),
        optionFact(config, Definition::ConnectionOptions::ServerCertificateToSendName),
        optionFact(config, Definition::InternalOnlyUtilityOptions::ConnectionName),
    };
}

void ServedConnection::reportHandshake(const Watchdog::Guard& guard) {
    if (guard.expired()) {
        report(ExitStatus::TimedOut, "timed out during the handshake");
    } else {
        const Diagnosis diagnosis = log.diagnosis();
        report(diagnosis.status(), causeText(diagnosis));
    }
}

void ServedConnection::reportEnd(StreamEnd end, const Watchdog::Guard& guard) {
    const int error = platform::WSAGetLastError();
    const Diagnosis diagnosis = log.diagnosis();
    if (guard.expired()) {
        report(ExitStatus::TimedOut, "timed out");
    } else if (diagnosis.status() != ExitStatus::Success) {
        report(diagnosis.status(), causeText(diagnosis));
    } else if (const auto failure = failureOf(end, error)) {
        report(failure->status, failure->what());
    }
}

// When there is no memory for the text, the status is reported alone.
void ServedConnection::reportBreakdown(const char* reason) noexcept {
    try {
        report(ExitStatus::Usage, reason);
    } catch (const std::exception&) {
        status = ExitStatus::Usage;
    }
}

void ServedConnection::report(ExitStatus outcome, const std::string& text) {
    status = outcome;
    failureText = text;
    service.report.failed(number, text);
}

} // namespace VexaSsl::tool
