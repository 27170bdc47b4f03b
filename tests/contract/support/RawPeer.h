// A peer implemented with another TLS library on memory buffers, so that the output of the
// contract's functions is checked by an independent implementation. On a system without such a
// library the constructors throw std::logic_error, and the tests that need a peer are skipped.
#pragma once

#include "contract/tls/Side.h"

#include <memory>
#include <string>

namespace VexaSsl::test {

enum class Protocol { any, tls11, tls12, tls13 };

struct PeerSettings {
    Protocol only = Protocol::any;
    std::string suites = {};      // in OpenSSL's notation; limits the version to TLS 1.2
    std::string certificate = {}; // a client's; server() has a parameter for its own
    bool smallRecords = false;    // a client requests records of at most 1,024 bytes
    bool renegotiates = false;    // limits the version to TLS 1.2
};

class RawPeer {
public:
    static RawPeer client(const PeerSettings& settings = {});
    // With the certificate and chain of one test case.
    static RawPeer server(const std::string& certificate = "server-ecdsa",
                          const PeerSettings& settings = {});
    RawPeer(RawPeer&& other) noexcept;
    ~RawPeer();

    // Continues the handshake with the received bytes. Returns the bytes to send.
    Bytes step(const Bytes& received = {});
    bool established() const;

    Bytes protect(const std::string& text);
    // Returns the text of all records in the bytes.
    std::string open(const Bytes& received);
    // Returns the text of the first record only; later records stay unread.
    std::string openOne(const Bytes& received);
    // Adds bytes to the input without reading them.
    void incoming(const Bytes& received);

    // Returns a close_notify alert.
    Bytes sendClosure();
    // Requests a renegotiation. Returns the bytes to send, which may be none.
    Bytes renegotiate();

    bool speaksTls12() const;
    bool receivedClosure() const;
    // On a server: the client's server name indication, "(none)" if it sent none.
    std::string requestedName() const;
    // On a client: the number of authorities in the server's certificate request, -1 without a
    // request.
    int namedAuthorities() const;

    // On a client: offers to resume the session of another client.
    void offerSessionOf(const RawPeer& other);
    bool hasTicket() const;
    bool resumedSession() const;

    struct State;
    State& inside() const { return *state; }

private:
    RawPeer(bool isServer, const PeerSettings& settings);

    std::unique_ptr<State> state;
};

// Exchanges tokens until neither end has anything to send or one fails. side.status() is the
// outcome.
void runHandshake(RawPeer& client, Side& server);
void runHandshake(Side& client, RawPeer& server);

} // namespace VexaSsl::test
