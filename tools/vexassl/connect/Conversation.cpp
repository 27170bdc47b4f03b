#include "connect/Conversation.h"

#include "common/ConnectionOptions.h"
#include "common/ExitStatus.h"
#include "common/HostNetwork.h"
#include "common/SendAll.h"
#include "common/StandardStreams.h"

#include <chrono>
#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t bufferSize = 32768;

// For a peer to judge our certificate after the handshake.
constexpr std::chrono::seconds timeToRefuse{2};

// The record that follows lost data can't be decrypted, and its error text suggests tampering.
constexpr const char* missed = "; a server that speaks first may also have sent its first bytes "
                               "with the end of the handshake, where they are lost";

} // namespace

Conversation::Conversation(ISocketStrategy& strategy, SOCKET socket, const ToolLog& log,
                           Watchdog::Guard& guard, ConversationInput& input, AtInputEnd atInputEnd,
                           Receiver& receiver)
    : strategy(strategy), socket(socket), log(log), guard(guard), input(input),
      atInputEnd(atInputEnd), receiver(receiver) {}

void Conversation::run() {
    guard.pause();
    std::exception_ptr brokeSending;
    std::thread sender([&] { brokeSending = endedBy(&Conversation::sendInput); });
    const std::exception_ptr brokeReceiving = endedBy(&Conversation::receiveAll);
    input.cancel();
    // A sender that waits for a peer which has stopped reading ends here.
    endTraffic(socket);
    sender.join();
    for (const std::exception_ptr& broken : {brokeReceiving, brokeSending}) {
        if (broken) {
            std::rethrow_exception(broken);
        }
    }
    inputLeft = !inputEnded && !sendFailed && input.hasMore();
    throwFailure();
}

// When one side throws, the other one is ended, too. Returns the exception, or null.
std::exception_ptr Conversation::endedBy(void (Conversation::*side)()) noexcept {
    try {
        (this->*side)();
        return nullptr;
    } catch (...) {
        endTraffic(socket);
        return std::current_exception();
    }
}

// Typing at a terminal has no time limit. The peer has one period to take each piece.
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
        endTraffic(socket); // an incomplete input must not look complete to the peer
        return;
    }
    if (input.cancelled()) {
        return;
    }
    if (atInputEnd == AtInputEnd::ShutDownAfterAMoment) {
        answered.get_future().wait_for(timeToRefuse);
    }
    inputEnded = true;
    guard.restart();
    if (atInputEnd != AtInputEnd::KeepOpen && !streamEnded) {
        sendEnd();
    }
}

void Conversation::sendEnd() {
    ourEndSent = true;
    if (platform::shutdown(socket, SD_SEND) != 0 && !streamEnded) {
        // The peer doesn't learn of the end, so it might never close.
        shutdownError = platform::WSAGetLastError();
        endTraffic(socket);
    }
}

void Conversation::receiveAll() {
    try {
        receiveEach();
    } catch (...) {
        noteAnswer();
        throw;
    }
    unheardEnd = !somethingCame && !ourEndSent;
    streamEnded = true;
    noteAnswer();
}

// The first of all calls counts.
void Conversation::noteAnswer() {
    if (!isAnswered) {
        isAnswered = true;
        answered.set_value();
    }
}

void Conversation::receiveEach() {
    std::vector<char> buffer(bufferSize);
    int count = 0;
    while ((count = receiver.receive(buffer.data(), static_cast<int>(bufferSize))) > 0) {
        somethingCame = true;
        noteAnswer();
        if (inputEnded) {
            guard.pause(); // the reader of our output has no time limit
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

bool Conversation::endedUnheard() const {
    return unheardEnd && receiver.end() != StreamEnd::InsideRecord && !guard.expired() &&
           input.failure().empty();
}

void Conversation::throwFailure() const {
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
    // The library sends no TLS closure. Some peers answer the shutdown of our sending side with a
    // fatal alert; the conversation ended as intended all the same.
    const bool closureIsMissed = ourEndSent && diagnosis.peerSentAlert();
    if (diagnosis.status() != ExitStatus::Success && !closureIsMissed) {
        const bool mayHaveMissed = receiver.end() == StreamEnd::Broken && !somethingCame;
        throw Failure(diagnosis.status(), causeText(diagnosis) + (mayHaveMissed ? missed : ""));
    }
    if (const auto failure = failureOf(receiver.end(), receiveError); failure && !closureIsMissed) {
        throw Failure(*failure);
    }
    if (shutdownError != 0) {
        throw Failure(ExitStatus::CutShort,
                      "the end of the input can't be sent: " + socketErrorText(shutdownError));
    }
    if (inputLeft) {
        throw Failure(ExitStatus::CutShort, "the connection ended before all input was sent");
    }
    if (sendFailed) {
        throw Failure(ExitStatus::CutShort, "the connection ended before all input was sent: " +
                                                socketErrorText(sendError));
    }
    requireTaken();
}

// The peer may end its side and never read the last of the input.
void Conversation::requireTaken() const {
    guard.restart();
    if (waitUntilTaken(socket, [this] { return !guard.expired(); })) {
        return;
    }
    if (guard.expired()) {
        throw Failure(ExitStatus::TimedOut, "timed out: the peer takes no more");
    }
    throw Failure(ExitStatus::CutShort, "the connection ended before the peer took all input");
}

} // namespace VexaSsl::tool
