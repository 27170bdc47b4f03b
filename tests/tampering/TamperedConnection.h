// One connection between a stack under test and its counterpart, with one manipulation.
//
//     TamperedConnection connection({.asServer = true}, {.cutAfter = 17, .ending = Ending::reset});
//     EXPECT_FALSE(connection.established());
//
// The constructor runs the handshake. Afterwards the test chooses what is delivered to the stack.
#pragma once

#include "integration/support/SharedLog.h"
#include "tampering/Counterpart.h"
#include "tampering/Wire.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl {
class SecureSocketStrategy;
}

namespace VexaSsl::test {

// A byte of the handshake is XORed with the pattern.
struct Flip {
    bool fromStack = false; // otherwise in the bytes to the side under test
    std::size_t at = 0;     // from the first byte of that direction
    unsigned char pattern = 0xFF;
};

struct Tampering {
    std::optional<std::size_t> cutAfter = {}; // bytes that reach the side under test
    Ending ending = Ending::close;
    std::optional<std::size_t> resetAfterSent = {}; // bytes that it sends before a reset
    std::optional<Flip> flip = {};
};

// The receive time-out with a silent counterpart.
inline constexpr int shortTimeoutMilliseconds = 8;

class TamperedConnection {
public:
    explicit TamperedConnection(const ConnectionSetup& setup, const Tampering& tampering = {});
    TamperedConnection(const TamperedConnection&) = delete;
    TamperedConnection& operator=(const TamperedConnection&) = delete;

    // Whether the side under test completed the handshake.
    bool established() const { return isEstablished; }
    // The parameters that it agreed on. Its own certificate is read from the file.
    Agreement agreement();
    // Whether the handshake reached the place of the cut or of the flip.
    bool cutReached() const { return wasCut; }
    bool flipReached() const { return wasFlipped; }
    // The position of the flipped byte in its record.
    std::size_t placeInRecord() const { return flipPlace; }
    // Everything that one end sent, before any change.
    const Bytes& original(bool fromStack) const {
        return fromStack ? fromStackSoFar : toStackSoFar;
    }

    // Makes each further turn deliver one of the chunks to the stack, and then the ending.
    void deliver(const std::vector<Bytes>& next, Ending ending = Ending::close);
    // Returns a record for the stack.
    Bytes record(const std::string& text) { return counterpart.protect(text); }
    int send(const std::string& text);
    // The text that the stack has sent, opened by the counterpart.
    std::string receivedByCounterpart() { return counterpart.open(wire.collect()); }
    ISocketStrategy& stack() { return *strategy; }
    const ConnectionSetup& connectionSetup() const { return setup; }
    SOCKET socket() const { return wire.socket(); }

    SharedLog log;
    int error = 0; // the last error after connect, accept or startOtls
    Wire wire;
    Counterpart counterpart;

private:
    Move runHandshake(const Bytes& received);
    void change(Bytes& bytes, const Bytes& before, bool fromStack);
    Move cut(const Bytes& bytes);
    bool connect();
    bool accept();
    bool acceptOverlapped();
    bool resolve();
    bool startOtls();

    const ConnectionSetup setup;
    const Tampering tampering;
    std::unique_ptr<ISocketStrategy> strategy;
    SecureSocketStrategy* secure = nullptr;
    bool isEstablished = false;
    bool wasCut = false;
    bool wasFlipped = false;
    std::size_t flipPlace = 0;
    Bytes fromStackSoFar;
    Bytes toStackSoFar;
    std::deque<Bytes> chunks;
    Ending lastEnding = Ending::close;
};

// The library's "failed with" line, with the system's text.
LogLine failedCall(const std::wstring& call, DWORD code);

} // namespace VexaSsl::test
