// A client's dialog in the clear that ends with the server's consent to TLS. The server is taken as
// hostile: lines, replies and the number of lines are limited, and an unexpected reply ends the
// dialog. The caller limits the time: a watchdog shuts the socket down.
//
// Each function throws Failure (Handshake) with a line for the user.
//
// Threads: one. Ownership: the strategy is borrowed and outlives it.
#pragma once

#include "starttls/BufferedReader.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

class CleartextDialog {
public:
    // protocol: for messages to the user.
    CleartextDialog(ISocketStrategy& strategy, SOCKET socket, std::string protocol);

    void send(std::string_view bytes);
    // Returns the next line, without its end.
    std::string readLine();
    std::string readBytes(std::size_t count);

    // Throws because of a server's reply that isn't the expected one.
    [[noreturn]] void refuse(const std::string& reason, std::string_view answer) const;
    [[noreturn]] void refuse(const std::string& reason) const;

    // Called after the consent: throws when the server has sent more. What arrives later makes the
    // handshake fail.
    void expectNothingMore() const;

private:
    void requireSuccess(BufferedReader::Outcome outcome) const;

    ISocketStrategy& strategy;
    SOCKET socket;
    std::string protocolName;
    std::unique_ptr<Receiver> receiver;
    BufferedReader reader;
    std::size_t lines = 0;
};

} // namespace VexaSsl::tool
