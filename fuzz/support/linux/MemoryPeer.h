// Reproducible connections of the real package in memory: the peer, which is OpenSSL, and the
// library's end. Keys and certificates are those in keys/; the random numbers are fixed.
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
    // mutual: a client sends a certificate, a server requests one. cipherSuite: the only one
    // accepted, by its OpenSSL name; empty: any.
    MemoryPeer(Role role, bool mutual, const char* cipherSuite = "");

    // Processes received bytes and returns the reply. Without bytes a client returns its first
    // message.
    std::string answer(std::string_view received);
    bool isEstablished() const { return SSL_is_init_finished(ssl.get()) == 1; }
    // Returns the text in an encrypted record.
    std::string seal(std::string_view plain);
    // Return the records of a closure and of a request to renegotiate.
    std::string sealClosure();
    std::string sealRenegotiation();
    // Returns an encrypted record of any type and content. A peer must seal all of its records by
    // this function, or none.
    static constexpr std::size_t largestContent = 1 << 14;
    std::string sealAs(std::size_t type, std::string_view content);
    // Returns the text in the records.
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

// The library's end. Restarts the random numbers and sets the certificate folder.
class LibrarySide {
public:
    LibrarySide(Role role, bool mutual);

    // Runs the handshake with the data of the wire. Returns whether it has succeeded.
    bool secure();
    // The same with a peer that replies.
    bool secureWith(MemoryPeer& peer);

    StrictLog log;
    std::unique_ptr<SecureSocketStrategy> strategy;
    Wire* wire = nullptr; // owned by strategy

private:
    Role role;
};

} // namespace VexaSsl::fuzz
