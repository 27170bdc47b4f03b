// Certificate chains, and their check against the SSL chain policy.
#include "platform/contract/CryptoApi.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/Chain.h"
#include "platform/openssl/stores/FileTime.h"
#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/stores/TargetName.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

struct PolicyError {
    DWORD trustBits; // any of these
    DWORD status;
    DWORD ignoreFlag; // in fdwChecks; 0: can't be ignored
};

// The first that applies to any element is the result. A missing trusted root comes before all
// other errors.
constexpr PolicyError policyErrors[] = {
    {CERT_TRUST_IS_UNTRUSTED_ROOT, CERT_E_UNTRUSTEDROOT, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {CERT_TRUST_IS_PARTIAL_CHAIN, CERT_E_CHAINING, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, TRUST_E_CERT_SIGNATURE, 0},
    {CERT_TRUST_INVALID_BASIC_CONSTRAINTS, TRUST_E_BASIC_CONSTRAINTS, 0},
    {CERT_TRUST_INVALID_NAME_CONSTRAINTS, CERT_E_INVALID_NAME, 0},
    {CERT_TRUST_INVALID_EXTENSION, CERT_E_CRITICAL, 0},
    {CERT_TRUST_IS_NOT_TIME_VALID, CERT_E_EXPIRED, SECURITY_FLAG_IGNORE_CERT_DATE_INVALID},
    {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, CERT_E_WRONG_USAGE, SECURITY_FLAG_IGNORE_WRONG_USAGE},
};

// Reports the error for the first element that has it, counted from the leaf. Returns false when
// none has.
bool findFault(const CERT_SIMPLE_CHAIN& chain, const PolicyError& error,
               CERT_CHAIN_POLICY_STATUS& status) {
    for (DWORD i = 0; i < chain.cElement; ++i) {
        if (!(chain.rgpElement[i]->TrustStatus.dwErrorStatus & error.trustBits)) {
            continue;
        }
        status.dwError = error.status;
        status.lChainIndex = 0;
        status.lElementIndex = static_cast<LONG>(i);
        return true;
    }
    return false;
}

const SSL_EXTRA_CERT_CHAIN_POLICY_PARA* sslParameters(const CERT_CHAIN_POLICY_PARA* parameters) {
    const void* extra = parameters ? parameters->pvExtraPolicyPara : nullptr;
    return static_cast<const SSL_EXTRA_CERT_CHAIN_POLICY_PARA*>(extra);
}

BorrowingStack certificatesOf(const CERT_SIMPLE_CHAIN& chain) {
    std::vector<X509*> certificates;
    for (DWORD i = 0; i < chain.cElement; ++i) {
        certificates.push_back(x509Of(chain.rgpElement[i]->pCertContext));
    }
    return stackOf(certificates);
}

// Returns 0 if the leaf matches the requested server name and the constraints of its issuers permit
// it, or if none is requested; else the status.
DWORD serverNameStatus(const CERT_SIMPLE_CHAIN& chain,
                       const SSL_EXTRA_CERT_CHAIN_POLICY_PARA* extra) {
    if (!extra || extra->dwAuthType != AUTHTYPE_SERVER || !extra->pwszServerName) {
        return 0;
    }
    const BorrowingStack certificates = certificatesOf(chain);
    const std::optional<TargetName> target = TargetName::parse(extra->pwszServerName);
    if (!target || !target->matches(sk_X509_value(certificates.get(), 0))) {
        return static_cast<DWORD>(CERT_E_CN_NO_MATCH);
    }
    return target->isPermittedIn(certificates.get()) ? 0 : static_cast<DWORD>(CERT_E_INVALID_NAME);
}

// cbSize of the parameters is ignored: the core leaves it 0.
ChainRequest chainRequest(const FILETIME* time, std::shared_ptr<Store> additional,
                          const CERT_CHAIN_PARA* parameters) {
    ChainRequest request{{}, std::nullopt, std::move(additional)};
    if (time) {
        request.time = timeOf(*time);
    }
    if (parameters) {
        const CERT_ENHKEY_USAGE& usage = parameters->RequestedUsage.Usage;
        request.usages.assign(usage.rgpszUsageIdentifier,
                              usage.rgpszUsageIdentifier + usage.cUsageIdentifier);
    }
    return request;
}

} // namespace
} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

using namespace openssl;

BOOL CertGetCertificateChain(HCERTCHAINENGINE, PCCERT_CONTEXT certificate, FILETIME* time,
                             HCERTSTORE additionalStore, CERT_CHAIN_PARA* parameters, DWORD, void*,
                             PCCERT_CHAIN_CONTEXT* chain) {
    if (!certificate || !chain) {
        return linux::failWith(linux::invalidArgument, FALSE);
    }
    *chain = nullptr;
    return linux::guarded(BOOL{FALSE}, [&]() -> BOOL {
        std::shared_ptr<Store> additional = Store::of(additionalStore);
        if (additionalStore && !additional) {
            return linux::failWith(linux::invalidArgument, FALSE);
        }
        *chain = buildChain(certificate, chainRequest(time, std::move(additional), parameters))
                     .release();
        return TRUE;
    });
}

BOOL CertVerifyCertificateChainPolicy(const char* policy, PCCERT_CHAIN_CONTEXT chain,
                                      CERT_CHAIN_POLICY_PARA* parameters,
                                      CERT_CHAIN_POLICY_STATUS* status) {
    if (policy != CERT_CHAIN_POLICY_SSL) {
        return linux::failWith(linux::errorFileNotFound, FALSE);
    }
    if (!chain || !status) {
        return linux::failWith(linux::invalidArgument, FALSE);
    }
    status->dwError = 0;
    status->lChainIndex = -1;
    status->lElementIndex = -1;
    const auto* extra = sslParameters(parameters);
    const DWORD ignored = extra ? extra->fdwChecks : 0;
    for (const PolicyError& error : policyErrors) {
        if (!(error.ignoreFlag & ignored) && findFault(*chain->rgpChain[0], error, *status)) {
            return TRUE;
        }
    }
    return linux::guarded(BOOL{FALSE}, [&]() -> BOOL {
        if (const DWORD error = serverNameStatus(*chain->rgpChain[0], extra)) {
            *status = {status->cbSize, error, 0, 0, nullptr};
        }
        return TRUE;
    });
}

void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain) {
    delete static_cast<const Chain*>(chain);
}

} // namespace VexaSsl::platform
