// Builds a certificate's chain for a purpose, checks it by the platform's policy and logs the
// result. CertificateInspector uses it; administration reads the chain, too.
//
// Borrows the log and the certificate; the caller keeps both alive. Owns the chain. Belongs to one
// thread.
#pragma once

#include "VexaSsl/ILog.h"
#include "platform/contract/CryptoApi.h"

#include <string>

namespace VexaSsl {

class ChainExamination {
public:
    // Does all the work, for server (else client) authentication, and logs the result. time: when
    // the chain must be valid, null for now. helpers: a store with further certificates for the
    // chain, or null. Revocation isn't checked. Throws only when memory runs out.
    ChainExamination(ILog& log, PCCERT_CONTEXT certificate, bool forServer,
                     FILETIME* time = nullptr, HCERTSTORE helpers = nullptr);
    ChainExamination(const ChainExamination&) = delete;
    ChainExamination& operator=(const ChainExamination&) = delete;

    bool isTrusted() const { return judged && verdict.dwError == 0; }
    // False when the check couldn't run; the status is then meaningless.
    bool wasJudged() const { return judged; }
    const CERT_CHAIN_POLICY_STATUS& status() const { return verdict; }
    // Null when no chain could be built.
    PCCERT_CHAIN_CONTEXT chain() const { return owner.chain; }

private:
    void reportCheckThatDidNotRun() const;
    void reportFault(const std::wstring& purpose) const;
    void reportPlaceOfFault() const;

    // Releases the chain pointer, also a null one.
    class ChainOwner {
    public:
        ChainOwner() = default;
        ~ChainOwner() { platform::CertFreeCertificateChain(chain); }
        ChainOwner(const ChainOwner&) = delete;
        ChainOwner& operator=(const ChainOwner&) = delete;

        PCCERT_CHAIN_CONTEXT chain = nullptr;
    };

    ILog& log;
    ChainOwner owner;
    CERT_CHAIN_POLICY_STATUS verdict{};
    bool judged = false;
};

} // namespace VexaSsl
