#include "starttls/SmtpServer.h"

#include "common/SendAll.h"
#include "starttls/OtlsSwitch.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace VexaSsl::tool {

SmtpServer::SmtpServer(ISocketStrategy& strategy, SOCKET socket, Watchdog::Guard& guard,
                       MakeReceiver makeReceiver)
    : strategy(strategy), socket(socket), guard(guard), makeReceiver(std::move(makeReceiver)),
      receiver(makeBlockingReceiver(strategy, socket, StackState::Clear)),
      reader(std::make_unique<BufferedReader>(*receiver)) {}

SmtpServer::End SmtpServer::run(const std::function<void(const Envelope&)>& taken) {
    bool continues = perform(session.greeting());
    while (continues) {
        guard.restart();
        continues = step(taken);
    }
    return end;
}

bool SmtpServer::step(const std::function<void(const Envelope&)>& taken) {
    const bool inContent = next == SmtpSession::Next::Content;
    std::string text;
    const auto outcome = inContent ? reader->readPiece(SmtpSession::longestLine, text)
                                   : reader->readLine(SmtpSession::longestLine, text);
    switch (outcome) {
    case BufferedReader::Outcome::Success:
        break;
    case BufferedReader::Outcome::TooLong:
        return perform(session.lineTooLong());
    case BufferedReader::Outcome::Ended:
        return stop(End::Closed);
    case BufferedReader::Outcome::Failed:
        return stop(End::Lost);
    }
    const SmtpSession::Answer answer =
        inContent ? session.content(text) : session.command(text, reader->holdsSurplus());
    if (inContent && answer.next == SmtpSession::Next::Command) {
        taken(session.envelope());
    }
    return perform(answer);
}

bool SmtpServer::perform(const SmtpSession::Answer& answer) {
    if (!sendAll(strategy, socket, answer.text)) {
        return stop(End::Lost);
    }
    next = answer.next;
    switch (next) {
    case SmtpSession::Next::Disconnect:
        return stop(End::Success);
    case SmtpSession::Next::Refuse:
        return stop(End::Refused);
    case SmtpSession::Next::StartTls:
        return startTls();
    case SmtpSession::Next::Command:
    case SmtpSession::Next::Content:
        break;
    }
    return true;
}

// Discards everything that was received in the clear: the reader is a new one.
bool SmtpServer::startTls() {
    guard.restart();
    if (!switchToTls(strategy)) {
        return stop(End::NoSwitch);
    }
    session.secured();
    receiver = makeReceiver();
    reader = std::make_unique<BufferedReader>(*receiver);
    next = SmtpSession::Next::Command;
    return true;
}

bool SmtpServer::stop(End why) {
    end = why;
    return false;
}

} // namespace VexaSsl::tool
