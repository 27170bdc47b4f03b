// One look at a certificate's chain: built for a purpose, judged by the platform's policy, and what
// it gave told to the log. CertificateInspector's answer is made of it; administration also looks
// at the chain itself.
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
    // Does all the work, for server (else client) authentication, and logs it. time: the moment to
    // judge for, null for now. helpers: where links of the chain may be found besides the system's
    // own places; null for none. Revocation isn't checked. No exception unless memory runs out.
    ChainExamination(ILog& sink, PCCERT_CONTEXT certificate, bool forServer,
                     FILETIME* time = nullptr, HCERTSTORE helpers = nullptr);
    ChainExamination(const ChainExamination&) = delete;
    ChainExamination& operator=(const ChainExamination&) = delete;

    bool isTrusted() const { return judged && verdict.dwError == 0; }
    // False when the check itself couldn't run; the status then tells nothing reliable.
    bool wasJudged() const { return judged; }
    const CERT_CHAIN_POLICY_STATUS& status() const { return verdict; }
    // Null when no chain could be built at all.
    PCCERT_CHAIN_CONTEXT chain() const { return owner.chain; }

private:
    void reportCheckThatDidNotRun() const;
    void reportFault(const std::wstring& purpose) const;
    void reportPlaceOfFault() const;

    // A chain pointer that is given back on every way out, null included.
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
