#include "connect/Conversation.h"

#include "common/ConnectionOptions.h"
#include "common/ExitStatus.h"
#include "common/HostNetwork.h"
#include "common/SendAll.h"
#include "common/StandardStreams.h"

#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t bufferSize = 32768;

// The record behind what was missed can't be opened, and says so in words of tampering.
constexpr const char* missed = "; a server that speaks first may also have sent its first bytes "
                               "with the end of the handshake, where they are lost";

} // namespace

Conversation::Conversation(ISocketStrategy& borrowedStrategy, SOCKET s,
                           const ToolLog& connectionLog, Watchdog::Guard& connectionGuard,
                           ConversationInput& whatToSend, AtInputEnd whatThen, Receiver& whatComes)
    : strategy(borrowedStrategy), socket(s), log(connectionLog), guard(connectionGuard),
      input(whatToSend), atInputEnd(whatThen), receiver(whatComes) {}

void Conversation::run() {
    guard.pause();
    std::exception_ptr brokeSending;
    std::thread sender([&] { brokeSending = endedBy(&Conversation::sendInput); });
    const std::exception_ptr brokeReceiving = endedBy(&Conversation::receiveAll);
    input.cancel();
    // A sender that waits for a peer which no longer reads ends here.
    endTraffic(socket);
    sender.join();
    for (const std::exception_ptr& broken : {brokeReceiving, brokeSending}) {
        if (broken) {
            std::rethrow_exception(broken);
        }
    }
    inputLeft = !inputEnded && !sendFailed && input.hasMore();
    judge();
}

// A side that breaks down takes the other one with it. Result: what it threw; null behind a good
// end.
std::exception_ptr Conversation::endedBy(void (Conversation::*side)()) noexcept {
    try {
        (this->*side)();
        return nullptr;
    } catch (...) {
        endTraffic(socket);
        return std::current_exception();
    }
}

// A user at a terminal may think as long as he likes. The peer may not: it has a period to take
// each piece.
void Conversation::sendInput() {
    std::vector<char> buffer(bufferSize);
    std::size_t count = 0;
    while ((count = input.read(buffer.data(), buffer.size())) > 0) {
        guard.restart();
        if (!sendAll(strategy, socket, {buffer.data(), count})) {
            sendFailed = true;
            sendError = platform::WSAGetLastError();
            endTraffic(socket);
            return;
        }
        guard.pause();
    }
    if (!input.failure().empty()) {
        endTraffic(socket); // what came is not all, so it isn't ended as if it were
        return;
    }
    if (input.cancelled()) {
        return;
    }
    inputEnded = true;
    guard.restart();
    if (atInputEnd == AtInputEnd::ShutDown) {
        platform::shutdown(socket, SD_SEND);
    }
}

void Conversation::receiveAll() {
    std::vector<char> buffer(bufferSize);
    int count = 0;
    while ((count = receiver.receive(buffer.data(), static_cast<int>(bufferSize))) > 0) {
        somethingCame = true;
        if (inputEnded) {
            guard.pause(); // whoever reads our output may take his time
        }
        if (!writeStandardOutput(buffer.data(), static_cast<std::size_t>(count))) {
            outputFailed = true;
            return;
        }
        if (inputEnded) {
            guard.restart();
        }
    }
    receiveError = platform::WSAGetLastError();
}

void Conversation::judge() const {
    if (guard.expired()) {
        throw Failure(ExitStatus::TimedOut, sendFailed
                                                ? "timed out: the peer takes no more"
                                                : "timed out: the peer neither sends nor closes");
    }
    if (const std::string failure = input.failure(); !failure.empty()) {
        throw Failure(ExitStatus::Usage, failure);
    }
    if (outputFailed) {
        throw Failure(ExitStatus::Usage, "cannot write to standard output");
    }
    const Diagnosis diagnosis = log.diagnosis();
    // The library sends no TLS closure. Some peers answer our shut sending side with a fatal alert
    // then; the end came as asked for all the same.
    const bool closureIsMissed =
        inputEnded && atInputEnd == AtInputEnd::ShutDown && diagnosis.peerSentAlert();
    if (diagnosis.status() != ExitStatus::Well && !closureIsMissed) {
        const bool mayHaveMissed = receiver.end() == StreamEnd::Broken && !somethingCame;
        throw Failure(diagnosis.status(), causeText(diagnosis) + (mayHaveMissed ? missed : ""));
    }
    if (const auto failure = failureOf(receiver.end(), receiveError); failure && !closureIsMissed) {
        throw Failure(*failure);
    }
    if (inputLeft) {
        throw Failure(ExitStatus::CutShort, "the connection ended before all input was sent");
    }
    if (sendFailed) {
        throw Failure(ExitStatus::CutShort, "the connection ended before all input was sent: " +
                                                socketErrorText(sendError));
    }
}

} // namespace VexaSsl::tool
