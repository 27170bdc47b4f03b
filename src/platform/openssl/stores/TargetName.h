// The name that a client wants to reach, as its handshake uses it.
#pragma once

#include <openssl/ssl.h>

#include <optional>
#include <string>
#include <utility>

namespace VexaSsl::openssl {

class TargetName {
public:
    // Reads up to the first zero unit and takes the name as it stands, without converting
    // international names; one dot at its end is left out. Empty for names that no certificate can
    // be checked against: no name, one that isn't text, one that begins with a dot (OpenSSL would
    // take that for any name below), and an address in another spelling than the usual one.
    static std::optional<TargetName> parse(const wchar_t* text);

    // Lets the handshake check the server's certificate for this name (an address literal against
    // its addresses only) and, for a DNS name, send it as the server's name. Throws std::bad_alloc.
    void applyTo(SSL* ssl) const;

    // The same check of a certificate outside of a handshake.
    bool isOn(X509* certificate) const noexcept;

private:
    TargetName(std::string target, bool address) : name(std::move(target)), isAddress(address) {}

    std::string name;
    bool isAddress;
};

} // namespace VexaSsl::openssl
