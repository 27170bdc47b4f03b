// Checks the chain of a certificate and reads its names.
//
// Holds only the borrowed log, which must outlive it, and is cheap to make. Any thread may use it,
// as far as the log allows it; the caller keeps the certificate alive. Throws only when
// memory runs out.
#pragma once

#include "VexaSsl/ILog.h"
#include "platform/contract/CryptoApi.h"

#include <string>
#include <vector>

namespace VexaSsl {

class CertificateInspector {
public:
    explicit CertificateInspector(ILog& log) : log(log) {}

    // Builds the chain of the certificate for server (else client) authentication and checks it by
    // the platform's policy, without revocation. Returns whether it is trusted; false too when the
    // check couldn't run. The log has the reason, for an administrator.
    bool verifyCertificateChain(PCCERT_CONTEXT certificate, bool forServer) const;

    // Returns every DNS name of the certificate, in its order; an empty list, after a Warning line,
    // when it has none.
    std::vector<std::wstring> getAllNames(PCCERT_CONTEXT certificate) const;

    // Returns a display name for log lines; an empty text, after a Warning line, when there is
    // none.
    std::wstring getFriendlyName(PCCERT_CONTEXT certificate) const;

    // Logs one Info line with every DNS name.
    void reportAllNames(PCCERT_CONTEXT certificate) const;

private:
    ILog& log;
};

} // namespace VexaSsl
