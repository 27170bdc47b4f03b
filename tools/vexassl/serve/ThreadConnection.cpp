#include "serve/ThreadConnection.h"

#include "common/SendAll.h"
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

constexpr std::size_t receiveSize = 32768;

} // namespace

ThreadConnection::~ThreadConnection() {
    if (thread.joinable()) {
        thread.join();
    }
}

void ThreadConnection::start(std::function<void()> ended) {
    thread = std::thread([this, ended = std::move(ended)] {
        try {
            begin();
            run();
        } catch (const std::exception& error) {
            reportBreakdown(error.what());
        }
        close();
        ended();
    });
}

void ThreadConnection::run() {
    Watchdog::Guard guard(service.watchdog, socket.get(), service.options.connection.timeout());
    if (!service.options.startTls.empty()) {
        serveMail(guard);
        return;
    }
    if (strategy->completeAcceptEx() == SOCKET_ERROR) {
        reportHandshake(guard);
        return;
    }
    reportSecured();
    guard.restart();
    const auto receiver = makeReceiver();
    if (service.options.web) {
        answerWebRequest(*receiver, guard);
    } else {
        echo(*receiver, guard);
    }
}

std::unique_ptr<Receiver> ThreadConnection::makeReceiver() {
    const bool staysClear = service.options.startTls.empty() && isOpportunistic(service.config);
    const StackState passing = staysClear ? StackState::Clear : StackState::AsConfigured;
    return service.options.overlapped ? makeOverlappedReceiver(*strategy, socket.get())
                                      : makeBlockingReceiver(*strategy, socket.get(), passing);
}

void ThreadConnection::serveMail(Watchdog::Guard& guard) {
    // A switch needs a name that was resolved through the stack, on a server too.
    AddressList found;
    strategy->getaddrinfo("localhost", nullptr, nullptr, found.receive());
    SmtpServer session(*strategy, socket.get(), guard, [this] {
        reportSecured();
        return makeReceiver();
    });
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

void ThreadConnection::echo(Receiver& receiver, Watchdog::Guard& guard) {
    std::vector<char> buffer(receiveSize);
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
void ThreadConnection::answerWebRequest(Receiver& receiver, Watchdog::Guard& guard) {
    std::vector<char> buffer(receiveSize);
    WebRequest request;
    while (!request.isComplete()) {
        const int count = receiver.receive(buffer.data(), static_cast<int>(buffer.size()));
        if (count <= 0) {
            reportEnd(receiver.end(), guard);
            return;
        }
        request.append({buffer.data(), static_cast<std::size_t>(count)});
    }
    guard.restart();
    if (!sendAll(*strategy, socket.get(), request.response(facts()))) {
        reportEnd(StreamEnd::Lost, guard);
        return;
    }
    closeAfterResponse(receiver);
}

void ThreadConnection::closeAfterResponse(Receiver& receiver) {
    platform::shutdown(socket.get(), SD_SEND);
    std::vector<char> buffer(receiveSize);
    std::size_t discarded = 0;
    while (discarded < maximumDiscarded) {
        const int count = receiver.receive(buffer.data(), static_cast<int>(buffer.size()));
        if (count <= 0) {
            return;
        }
        discarded += static_cast<std::size_t>(count);
    }
}

} // namespace VexaSsl::tool
