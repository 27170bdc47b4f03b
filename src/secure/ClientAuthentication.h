// Decides, at the end of a server's negotiation, whether the client may stay.
#pragma once

#include "certificates/CertificateHandle.h"
#include "platform/contract/SecuritySupport.h"

namespace VexaSsl {

class SecureSocketRecord;

// Returns when the client may stay: no authentication is required (then nothing is asked of the
// context, whatever the client sent), or its certificate is trusted and bears an acceptable name.
// Throws std::runtime_error otherwise, with the reason in the log. Trust comes first: the names of
// an untrusted certificate are neither compared nor reported.
void authenticateClient(SecureSocketRecord& record, CtxtHandle& context);

// The client's certificate; empty, with the reason in the log, when it sent none or it can't be
// had.
CertificateHandle fetchRemoteCertificate(SecureSocketRecord& record, CtxtHandle& context);

// True when any client is acceptable, else when a name on the certificate is an acceptable one,
// whole and whatever its case. No wildcards.
bool isAcceptableClientCertificate(SecureSocketRecord& record,
                                   const CertificateHandle& certificate);

} // namespace VexaSsl
