// Protecting and opening one record of an established connection.
#pragma once

#include "platform/openssl/tls/TlsConnection.h"
#include <span>

namespace VexaSsl::openssl {

// Writes one record with the bytes of data (1 to shape.maximumMessage of them) into the three
// areas, which hold exactly shape.headerSize, data's and shape.trailerSize bytes; data is where the
// plaintext lies. Result: SEC_E_OK, or a status after which the connection has failed. sending is
// held by the caller.
SECURITY_STATUS protectRecord(TlsConnection& context, RecordSealer::Area header,
                              RecordSealer::Area data, RecordSealer::Area trailer) noexcept;

// Opens one whole record in place. plaintext is the part of it that holds the plaintext, maybe
// empty; it is set for SEC_E_OK only. SEC_I_CONTEXT_EXPIRED: the peer's closure.
// SEC_I_RENEGOTIATE: an authentic handshake message, which is not acted on. Anything else: the
// connection has failed, and its keys are gone. guarding is held by the caller.
SECURITY_STATUS openRecord(TlsConnection& context, std::span<unsigned char> record,
                           std::span<unsigned char>& plaintext) noexcept;

} // namespace VexaSsl::openssl
