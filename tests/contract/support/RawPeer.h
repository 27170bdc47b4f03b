// The other end played by a foreign TLS library on memory, set up as a test likes, so that what the
// contract's functions make is judged by something that isn't them. A system that has none throws
// std::logic_error; tests that need one are among its exceptions.
#pragma once

#include "contract/tls/Side.h"

#include <memory>
#include <string>

namespace VexaSsl::test {

enum class Protocol { any, tls11, tls12, tls13 };

struct PeerSettings {
    Protocol only = Protocol::any;
    std::string suites = {};      // in OpenSSL's writing; with TLS 1.2 at most
    std::string certificate = {}; // a client's; a server is given its own
    bool smallRecords = false;    // a client asks for records of at most 1,024 bytes
    bool renegotiates = false;    // with TLS 1.2 at most
};

class RawPeer {
public:
    static RawPeer client(const PeerSettings& settings = {});
    // With the certificate and chain of one case.
    static RawPeer server(const std::string& certificate = "server-ecdsa",
                          const PeerSettings& settings = {});
    RawPeer(RawPeer&& other) noexcept;
    ~RawPeer();

    // Takes bytes in and goes on with the handshake; what it wants to send.
    Bytes step(const Bytes& received = {});
    bool established() const;

    Bytes protect(const std::string& text);
    // The text of all records in the bytes.
    std::string open(const Bytes& received);
    // The text of the first record only; nothing else that waits is looked at.
    std::string openOne(const Bytes& received);
    // Bytes that it is to read later.
    void incoming(const Bytes& received);

    // Says that it will send no more; the bytes that tell so.
    Bytes shutDown();
    // Asks for a new handshake; the bytes that ask so, maybe none.
    Bytes renegotiate();

    bool speaksTls12() const;
    bool sawShutDown() const;
    // A server: the name that the client asked for, "(none)" without one.
    std::string requestedName() const;
    // A client: how many authorities the server named when it asked for a certificate, -1 when it
    // didn't ask.
    int namedAuthorities() const;

    // A client: offers to take up the session of another one again.
    void takeUp(const RawPeer& other);
    bool hasTicket() const;
    bool tookUp() const;

    struct State;
    State& inside() const { return *state; }

private:
    RawPeer(bool isServer, const PeerSettings& settings);

    std::unique_ptr<State> state;
};

// Carries the tokens until neither has anything to send or one fails. The side's last status tells
// how it went.
void shakeHands(RawPeer& client, Side& server);
void shakeHands(Side& client, RawPeer& server);

} // namespace VexaSsl::test
