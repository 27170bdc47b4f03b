// A server's authentication of its client, at the end of the handshake.
#pragma once

#include "certificates/CertificateHandle.h"
#include "platform/contract/SecuritySupport.h"

namespace VexaSsl {

class SecureSocketRecord;

// Returns if no authentication is required, without reading the client's certificate, or if its
// certificate is trusted and has an acceptable name. Throws std::runtime_error otherwise, with the
// reason in the log. The names of an untrusted certificate are neither compared nor logged.
void authenticateClient(SecureSocketRecord& record, CtxtHandle& context);

// Returns the client's certificate, or an empty handle, with the reason in the log, if it sent none
// or the query failed.
CertificateHandle fetchRemoteCertificate(SecureSocketRecord& record, CtxtHandle& context);

// Whether the options accept any client or a name on the certificate. Whole names are compared,
// without regard to case and without wildcards.
bool isAcceptableClientCertificate(const SecureSocketRecord& record,
                                   const CertificateHandle& certificate);

} // namespace VexaSsl
