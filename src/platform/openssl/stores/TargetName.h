// The name of the server that a client connects to, for the handshake and for checks. Any thread.
#pragma once

#include <openssl/ssl.h>

#include <optional>
#include <string>
#include <utility>

namespace VexaSsl::openssl {

class TargetName {
public:
    // Takes the zero-terminated text as it is, without IDNA conversion; removes one trailing dot.
    // Returns nothing for a name that no certificate may match: an empty one, invalid UTF-32, one
    // with a leading dot (which OpenSSL matches with every subdomain), an address in brackets, and
    // an address that isn't in the canonical form.
    static std::optional<TargetName> parse(const wchar_t* text);

    // Makes the handshake check the server's certificate for this name (an address is compared with
    // the certificate's addresses only) and, for a DNS name, send it as server name indication.
    // Throws std::bad_alloc.
    void applyTo(SSL* ssl) const;

    // Returns whether the certificate matches, by the rules of the handshake.
    bool matches(X509* certificate) const noexcept;

    // Returns whether the name constraints in the chain, leaf first, permit the name.
    bool isPermittedIn(const STACK_OF(X509) * chain) const noexcept;

private:
    TargetName(std::string name, bool isAddress) : name(std::move(name)), isAddress(isAddress) {}

    std::string name;
    bool isAddress;
};

} // namespace VexaSsl::openssl
