// How a client agrees with a server on TLS, protocol by protocol. Each goes from the first byte of
// the connection to the server's consent; behind it the client speaks first, inside TLS.
//
// Each throws Failure (Handshake) when the server doesn't consent.
#pragma once

#include "starttls/ClearDialog.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

void agreeOverSmtp(ClearDialog& dialog);     // RFC 3207
void agreeOverImap(ClearDialog& dialog);     // RFC 9051, STARTTLS
void agreeOverPop3(ClearDialog& dialog);     // RFC 2595, STLS
void agreeOverLdap(ClearDialog& dialog);     // RFC 4511, the StartTLS operation
void agreeOverPostgres(ClearDialog& dialog); // SSLRequest

// The words for --starttls of a client.
std::vector<std::string> agreementNames();

// Runs the agreement of that name, one of agreementNames, on a connection that nothing has passed
// yet. Refuses clear text behind the consent.
void agreeOn(const std::string& protocol, ISocketStrategy& strategy, SOCKET s);

} // namespace VexaSsl::tool
