// A client's talk in the clear that ends with an agreement on TLS. The server is hostile: every
// line, every answer and the number of lines are bounded, and whatever isn't the expected answer
// ends the talk. The time is the caller's: a watchdog shuts the socket down.
//
// Each function throws Failure (Handshake) with one line for the user.
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
    // protocol: for the lines to the user.
    CleartextDialog(ISocketStrategy& borrowedStrategy, SOCKET s, std::string protocol);

    void send(std::string_view bytes);
    // The next line, without its end.
    std::string readLine();
    std::string readBytes(std::size_t count);

    // The server's answer is not the one that leads on.
    [[noreturn]] void refuse(const std::string& reason, std::string_view answer) const;
    [[noreturn]] void refuse(const std::string& reason) const;

    // To be called behind the agreement: a server that has sent more is refused. What comes later
    // meets the handshake, which fails on it.
    void expectNothingMore() const;

private:
    void judge(BufferedReader::Outcome outcome) const;

    ISocketStrategy& strategy;
    SOCKET socket;
    std::string protocolName;
    std::unique_ptr<Receiver> receiver;
    BufferedReader reader;
    std::size_t lines = 0;
};

} // namespace VexaSsl::tool
