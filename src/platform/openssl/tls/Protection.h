// Seals and opens one record of an established connection.
#pragma once

#include "platform/openssl/tls/TlsConnection.h"
#include <span>

namespace VexaSsl::openssl {

// Encrypts data in place, 1 to shape.maximumMessage bytes, and writes header and trailer, of
// exactly shape.headerSize and shape.trailerSize bytes. Returns SEC_E_OK, or SEC_E_ENCRYPT_FAILURE,
// after which the connection has failed. The caller holds sendMutex.
SECURITY_STATUS sealRecord(TlsConnection& context, RecordSealer::Area header,
                           RecordSealer::Area data, RecordSealer::Area trailer) noexcept;

// Opens one whole record in place. The caller holds mutex.
//   SEC_E_OK               plaintext is the part of the record with the plaintext; may be empty
//   SEC_I_CONTEXT_EXPIRED  the peer's closure alert
//   SEC_I_RENEGOTIATE      an authentic renegotiation request, which is ignored
// Any other status: the connection has failed, and its keys are wiped.
SECURITY_STATUS openRecord(TlsConnection& context, std::span<unsigned char> record,
                           std::span<unsigned char>& plaintext) noexcept;

} // namespace VexaSsl::openssl
