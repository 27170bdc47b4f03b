// Answers questions about one certificate: is its chain trusted, and which names does it bear?
//
// Keeps nothing between calls but the borrowed log, which must outlive it; cheap to make where it
// is needed. Any thread may ask, about a certificate that the caller keeps alive, as far as the log
// allows. No answer is an exception unless memory runs out.
#pragma once

#include "VexaSsl/ILog.h"
#include "platform/contract/CryptoApi.h"

#include <string>
#include <vector>

namespace VexaSsl {

class CertificateInspector {
public:
    explicit CertificateInspector(ILog& sink) : log(sink) {}

    // Builds the chain of the certificate for server (else client) authentication and has the
    // platform's policy judge it; revocation isn't checked. True: trusted. False: not trusted, or
    // the check couldn't run; the log says why, as an administrator needs it.
    bool verifyCertificateChain(PCCERT_CONTEXT certificate, bool forServer) const;

    // Every DNS name of the certificate, in its order; empty with a Warning line when there is
    // none.
    std::vector<std::wstring> getAllNames(PCCERT_CONTEXT certificate) const;

    // The name to call the certificate by in a log line; empty with a Warning line when there is
    // none.
    std::wstring getFriendlyName(PCCERT_CONTEXT certificate) const;

    // One Info line with every DNS name.
    void reportAllNames(PCCERT_CONTEXT certificate) const;

private:
    ILog& log;
};

} // namespace VexaSsl
