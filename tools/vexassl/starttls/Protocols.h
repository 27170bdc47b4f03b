// How a client agrees with a server on TLS, protocol by protocol. Each goes from the first byte of
// the connection to the server's consent; behind it the client speaks first, inside TLS.
//
// Each throws Failure (Handshake) when the server doesn't consent.
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

// The words for --starttls of a client.
std::vector<std::string> startTlsProtocols();

// Runs the protocol of that name, one of startTlsProtocols, on a connection that nothing has passed
// yet. Refuses clear text behind the consent.
void requestTls(const std::string& protocol, ISocketStrategy& strategy, SOCKET s);

} // namespace VexaSsl::tool
