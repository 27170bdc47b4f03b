// The STARTTLS protocols of a client. Each function runs from the first byte of the connection to
// the server's consent; then the client begins the TLS handshake.
//
// To add a protocol, write its function in a file of its own, declare it here and add it to the
// table in Protocols.cpp; the help and the check of --starttls read that table. Each throws Failure
// (Handshake) when the server refuses.
#pragma once

#include "starttls/CleartextDialog.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

void requestTlsOverSmtp(CleartextDialog& dialog);     // RFC 3207
void requestTlsOverImap(CleartextDialog& dialog);     // RFC 9051, STARTTLS
void requestTlsOverPop3(CleartextDialog& dialog);     // RFC 2595, STLS
void requestTlsOverLdap(CleartextDialog& dialog);     // RFC 4511, the StartTLS operation
void requestTlsOverPostgres(CleartextDialog& dialog); // SSLRequest

// The values of --starttls for a client.
std::vector<std::string> startTlsProtocols();

// Runs the protocol of that name, one of startTlsProtocols, on a new connection. Throws Failure
// when the server sends clear text after its consent.
void requestTls(const std::string& protocol, ISocketStrategy& strategy, SOCKET s);

} // namespace VexaSsl::tool
