#include "serve/ServedConnection.h"

#include "common/SocketSetup.h"
#include "common/Text.h"
#include "config/Vocabulary.h"
#include "connect/ConnectionSummary.h"

#include <exception>
#include <string>

namespace VexaSsl::tool {

namespace {

namespace Definition = ConfigurationDefinition;

// The name and the value of an option.
ConnectionFacts::value_type optionFact(const IConfig& config, const std::wstring& name) {
    return {printableText(name), printableText(config.getValue(name))};
}

} // namespace

ServedConnection::ServedConnection(const Service& service, unsigned long number)
    : service(service), number(number), log(service.printer, "#" + std::to_string(number) + " "),
      strategy(makeStrategy(log, service.config)) {}

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

void ServedConnection::begin() {
    peer = peerAddressText(socket.get());
    service.report.begun(number, peer);
    log.onBrokenStream([this] { endTraffic(socket.get()); });
    sendAtOnce(socket.get());
}

void ServedConnection::reportSecured() {
    if (const auto summary = connectionSummary(*strategy)) {
        log.log(Severity::Info, wideName(peer + ": " + summary->text));
    }
}

void ServedConnection::close() {
    strategy.reset();
    socket.close();
    service.report.ended(number, peer, status, failureText);
}

ConnectionFacts ServedConnection::facts() {
    const IConfig& config = service.config;
    const auto summary = connectionSummary(*strategy);
    return {
        {"connection", std::to_string(number)},
        {"peer", peer},
        {"here", localAddressText(socket.get())},
        {"secured", summary ? summary->text : "no: plain text"},
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
    service.report.failed(number, peer.empty() ? text : text + " (peer " + peer + ")");
}

} // namespace VexaSsl::tool
