// The dialogue in clear text before TLS: a server's messages to the tool's client in five
// protocols, and a client's messages to the tool's mail server, before and after the switch.
//
// The input: the protocol, whether the switch to TLS succeeds, the sizes of the pieces, a mark, and
// the peer's messages.
#include "Wire.h"

#include "Harness.h"
#include "VexaSsl/IOtlsProvider.h"
#include "common/ExitStatus.h"
#include "starttls/Protocols.h"
#include "starttls/SmtpServer.h"

#include <algorithm>
#include <chrono>
#include <string>

namespace {

using namespace VexaSsl;
using fuzz::require;

// The end of a client's dialogue: the line for the user, empty when the server agreed.
struct Ending {
    std::string refusal;
    std::string said;
    std::size_t read;
};

Ending agree(const std::string& protocol, std::string_view server, std::string_view pieceSizes) {
    fuzz::StrictLog log;
    fuzz::Wire wire(log);
    wire.incoming = server;
    wire.pieceSizes = pieceSizes;
    Ending ending;
    try {
        tool::requestTls(protocol, wire, fuzz::Wire::socket);
    } catch (const tool::Failure& failure) {
        ending.refusal = failure.what();
        require(failure.status == tool::ExitStatus::Handshake,
                "a refusal has the status of a failed handshake");
    }
    ending.said = wire.written;
    ending.read = wire.taken;
    return ending;
}

void requireSound(const Ending& ending, const std::string& protocol) {
    constexpr std::size_t longestRefusal = 1000;
    constexpr std::size_t mostRead = 200 * 4096 + 70'000;
    constexpr std::size_t mostSaid = 100;
    require(ending.refusal.empty() || ending.refusal.starts_with(protocol + ": "),
            "a refusal names the protocol");
    require(ending.refusal.size() < longestRefusal, "a refusal is short");
    require(std::none_of(ending.refusal.begin(), ending.refusal.end(),
                         [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7F; }),
            "a refusal is one line without control characters");
    require(ending.read <= mostRead, "the bytes read are bounded");
    require(ending.said.size() <= mostSaid, "the bytes sent are bounded");
}

// Pieces make only one difference: clear text after the agreement is found if it arrives with it.
void requireSameInPieces(const Ending& ending, const std::string& protocol,
                         std::string_view server) {
    constexpr std::size_t longest = 500; // longer texts don't arrive in single bytes
    if (server.size() > longest) {
        return;
    }
    const Ending whole = agree(protocol, server, "");
    const Ending single = agree(protocol, server, "\x01");
    // Compared as a whole, since a server's text is quoted and may contain any part of it.
    const bool isSurplus =
        whole.refusal == protocol + ": the server sent clear text after its consent to TLS";
    require(whole.said == single.said && whole.said == ending.said,
            "pieces don't change what a client sends");
    require(whole.refusal == single.refusal || (isSurplus && single.refusal.empty()),
            "pieces don't change the result");
    require(!single.refusal.empty() || isSurplus || single.read == whole.read,
            "nothing after the agreement is read");
    require(!isSurplus || single.read < whole.read, "surplus follows the agreement");
}

// A connection that can be switched.
class MailWire : public fuzz::Wire, public IOtlsProvider {
public:
    MailWire(ILog& sink, bool succeeds) : Wire(sink), switchSucceeds(succeeds) {}

    int startOtls() override {
        require(!isSwitched, "the switch happens once");
        require(taken != 0 && incoming[taken - 1] == '\n', "nothing after STARTTLS is read");
        require(written.find("250 2.1.0") == std::string::npos &&
                    written.find("\r\n354") == std::string::npos,
                "no mail is accepted in clear text");
        isSwitched = switchSucceeds;
        return switchSucceeds ? 0 : SOCKET_ERROR;
    }

    bool isSwitched = false;

private:
    const bool switchSucceeds;
};

void requireEnvelope(const tool::Envelope& mail, const MailWire& wire) {
    require(wire.isSwitched, "mail is accepted only over TLS");
    require(mail.sender.starts_with('<') && mail.sender.ends_with('>'),
            "a sender has angle brackets");
    require(!mail.recipients.empty() && mail.recipients.size() <= tool::SmtpSession::mostRecipients,
            "the number of recipients is within the limits");
    require(mail.size <= tool::SmtpSession::largestMessage && mail.size <= wire.incoming.size(),
            "a message is not longer than what was sent");
}

// Replies must be complete lines that begin with a number.
void requireAnswers(std::string_view said, std::size_t linesHeard) {
    constexpr std::size_t longestAnswer = 200;
    require(said.size() <= (linesHeard + 2) * longestAnswer,
            "there is one short reply for each line");
    while (!said.empty()) {
        const std::size_t end = said.find("\r\n");
        require(end != std::string_view::npos && end > 3 &&
                    said.substr(0, 3).find_first_not_of("0123456789") == std::string_view::npos,
                "a reply line begins with a number");
        said.remove_prefix(end + 2);
    }
}

void serveMail(std::string_view client, std::string_view pieceSizes, bool switchSucceeds) {
    static auto& watchdog = *new tool::Watchdog;
    tool::Watchdog::Guard guard(watchdog, fuzz::Wire::socket, std::chrono::seconds(0));
    fuzz::StrictLog log;
    MailWire wire(log, switchSucceeds);
    wire.incoming = client;
    wire.pieceSizes = pieceSizes;
    wire.sendLimit = 5;
    tool::SmtpServer service(wire, fuzz::Wire::socket, guard, [&wire] {
        return tool::makeBlockingReceiver(wire, fuzz::Wire::socket, tool::StackState::AsConfigured);
    });
    const auto end =
        service.run([&wire](const tool::Envelope& mail) { requireEnvelope(mail, wire); });
    require(end != tool::SmtpServer::End::Lost, "a working connection is not lost");
    require(end != tool::SmtpServer::End::NoSwitch || !switchSucceeds,
            "a successful switch is accepted");
    requireAnswers(wire.written,
                   static_cast<std::size_t>(std::count(client.begin(), client.end(), '\n')));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::vector<std::string> protocols = tool::startTlsProtocols();
    const std::size_t choice = input.byte() % (protocols.size() + 1);
    const bool switchSucceeds = input.byte() % 2 == 0;
    const std::string_view pieceSizes = input.takeTo('\xFF');
    const std::string_view peer = input.rest();
    if (choice == protocols.size()) {
        serveMail(peer, pieceSizes, switchSucceeds);
        return 0;
    }
    const Ending ending = agree(protocols[choice], peer, pieceSizes);
    requireSound(ending, protocols[choice]);
    requireSameInPieces(ending, protocols[choice], peer);
    return 0;
}
