// Connections of the real package on memory, the same in every run: the other end, played by
// OpenSSL, and the library's end. Keys and certificates are those in keys/, and the random numbers
// are no random numbers.
//
// Threads: one.
#pragma once

#include "Harness.h"
#include "Wire.h"
#include "config/SslConfig.h"
#include "platform/openssl/tls/RecordCipher.h"
#include "secure/SecureSocketStrategy.h"

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace VexaSsl::fuzz {

enum class Role { Client, Server };

class MemoryPeer {
public:
    // mutual: a client shows a certificate, a server asks for one. suite: the only one it takes, by
    // OpenSSL's name; empty: any.
    MemoryPeer(Role role, bool mutual, const char* suite = "");

    // Takes what came and gives the answer; the first words of a client, with nothing taken.
    std::string answer(std::string_view received);
    bool isEstablished() const { return SSL_is_init_finished(ssl.get()) == 1; }
    // The record that protects a text.
    std::string seal(std::string_view plain);
    // The records of an orderly closure, and of the wish for another handshake.
    std::string sealClosure();
    std::string sealRenegotiation();
    // A record of any type with any content, as only somebody with the keys can make it. A peer
    // seals all of its records in this way, or none.
    static constexpr std::size_t largestContent = 1 << 14;
    std::string sealAs(std::size_t type, std::string_view content);
    // The text in records.
    std::string open(std::string_view wire);

private:
    std::string takeOutput();

    struct Free {
        void operator()(SSL* held) const noexcept { SSL_free(held); }
    };
    std::unique_ptr<SSL, Free> ssl;
    Role role;
    std::optional<openssl::RecordSealer> sealer;
};

// The library's end. The random numbers start anew with it, and the certificates are in force.
class LibrarySide {
public:
    LibrarySide(Role role, bool mutual);

    // Runs the handshake on what the wire gives. Result: whether there is a secured connection.
    bool secure();
    // The same with a peer, which answers.
    bool secureWith(MemoryPeer& peer);

    StrictLog log;
    std::unique_ptr<SecureSocketStrategy> strategy;
    Wire* wire = nullptr; // owned by strategy

private:
    Role role;
};

} // namespace VexaSsl::fuzz
