// One connection between a stack under test and its counterpart, with one thing done to it.
//
//     Scene scene({.asServer = true}, {.cutBehind = 17, .farewell = Farewell::reset});
//     EXPECT_FALSE(scene.established());
//
// The handshake runs in the constructor. Afterwards a test says what is delivered to the stack.
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

// A byte of the handshake gets another value: it and the pattern, exclusively or.
struct Flip {
    bool fromStack = false; // else on its way to the side under test
    std::size_t at = 0;     // from the first byte of that direction
    unsigned char pattern = 0xFF;
};

struct Tampering {
    std::optional<std::size_t> cutBehind = {}; // so many bytes reach the side under test
    Farewell farewell = Farewell::close;
    std::optional<std::size_t> cutBehindSent = {}; // a reset when it has sent so many
    std::optional<Flip> flip = {};
};

// How long a silent counterpart is waited for.
inline constexpr int shortPatience = 8;

class Scene {
public:
    explicit Scene(const Casting& casting, const Tampering& tampering = {});
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    // The side under test has come through the handshake.
    bool established() const { return isEstablished; }
    // What it holds to be agreed; an encoded certificate of its own comes from its own file.
    Agreement agreement();
    // The place of the cut, and that of the flip, was among what was sent.
    bool cutReached() const { return wasCut; }
    bool flipReached() const { return wasFlipped; }
    // Where the flipped byte lay in its record.
    std::size_t placeInRecord() const { return flipPlace; }
    // Everything that one side has sent before anything was changed.
    const Bytes& original(bool fromStack) const {
        return fromStack ? fromStackSoFar : toStackSoFar;
    }

    // From now on each turn brings the stack one of the chunks, and then the farewell.
    void deliver(const std::vector<Bytes>& next, Farewell behind = Farewell::close);
    // One record for the stack.
    Bytes record(const std::string& text) { return counterpart.protect(text); }
    int send(const std::string& text);
    // The text of what the stack has sent, as the counterpart opens it.
    std::string heardByCounterpart() { return counterpart.open(wire.collect()); }
    ISocketStrategy& stack() { return *strategy; }
    const Casting& cast() const { return casting; }
    SOCKET socket() const { return wire.socket(); }

    SharedLog log;
    int error = 0; // the last error behind connect, accept or startOtls
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

    const Casting casting;
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
    Farewell end = Farewell::close;
};

// "failed with" lines as the library writes them, with the system's text.
LogLine failedCall(const std::wstring& call, DWORD code);

} // namespace VexaSsl::test
