#include "starttls/CleartextDialog.h"

#include "common/ExitStatus.h"
#include "common/HostNetwork.h"
#include "common/SendAll.h"
#include "common/Text.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace VexaSsl::tool {

namespace {

// Longer than any of the protocols allows before the switch.
constexpr std::size_t longestLine = 4096;
constexpr std::size_t mostLines = 200;
// How much of a reply is shown to the user.
constexpr std::size_t longestQuote = 160;

} // namespace

CleartextDialog::CleartextDialog(ISocketStrategy& strategy, SOCKET socket, std::string protocol)
    : strategy(strategy), socket(socket), protocolName(std::move(protocol)),
      receiver(makeBlockingReceiver(strategy, socket, StackState::Clear)), reader(*receiver) {}

void CleartextDialog::send(std::string_view bytes) {
    if (!sendAll(strategy, socket, bytes)) {
        refuse("connection lost before TLS: " + socketErrorText(platform::WSAGetLastError()));
    }
}

std::string CleartextDialog::readLine() {
    if (++lines > mostLines) {
        refuse("the server talks without end before TLS");
    }
    std::string line;
    requireSuccess(reader.readLine(longestLine, line));
    line.pop_back();
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

std::string CleartextDialog::readBytes(std::size_t count) {
    std::string bytes;
    requireSuccess(reader.readBytes(count, bytes));
    return bytes;
}

void CleartextDialog::refuse(const std::string& reason, std::string_view answer) const {
    refuse(reason + " [" + printableText(answer.substr(0, longestQuote)) + "]");
}

void CleartextDialog::refuse(const std::string& reason) const {
    throw Failure(ExitStatus::Handshake, protocolName + ": " + reason);
}

void CleartextDialog::expectNothingMore() const {
    if (reader.holdsSurplus()) {
        refuse("the server sent clear text after its consent to TLS");
    }
}

void CleartextDialog::requireSuccess(BufferedReader::Outcome outcome) const {
    switch (outcome) {
    case BufferedReader::Outcome::Success:
        return;
    case BufferedReader::Outcome::TooLong:
        refuse("the server sent an endless line before TLS");
    case BufferedReader::Outcome::Ended:
        refuse("the server closed the connection before TLS");
    case BufferedReader::Outcome::Failed:
        refuse("connection lost before TLS: " + socketErrorText(platform::WSAGetLastError()));
    }
}

} // namespace VexaSsl::tool
