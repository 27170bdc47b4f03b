// The OpenSSL library context that connections are made in.
//
// OpenSSL 3.0 decodes a certificate's key by asking every decoder and every kind of key that its
// library context offers, which takes a sixth of a handshake with the usual offer. So a client's
// connections are made in a context of their own, whose one provider shows of OpenSSL's default
// provider what a client of TLS 1.2 needs and nothing else. The algorithms are the same ones.
#pragma once

#include <openssl/types.h>

namespace VexaSsl::portable {

// For a client without a certificate of its own; a private key would be copied on its way from one
// library context to another. Null, OpenSSL's default context, where the host or the system's
// configuration of OpenSSL has activated providers of its own or asked for approved algorithms:
// what they decide counts for every connection; and where the other context can't be made. Asked
// anew each time. Any thread.
OSSL_LIB_CTX* libraryForClients() noexcept;

} // namespace VexaSsl::portable
