// Runs OpenSSL's verification past every error, to collect the faults of all elements.
#include "platform/openssl/stores/Chain.h"

#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/stores/SubjectText.h"
#include "platform/openssl/stores/VerificationErrors.h"
#include "platform/openssl/stores/VerificationParameters.h"

#include <openssl/x509_vfy.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::openssl {
namespace {

const char* const serverAuthentication = "1.3.6.1.5.5.7.3.1";
const char* const clientAuthentication = "1.3.6.1.5.5.7.3.2";
const char* const anyUsage = "2.5.29.37.0";

int recordFault(int accepted, X509_STORE_CTX* verification) noexcept {
    constexpr int continueVerification = 1;
    if (!accepted) {
        auto* faults = static_cast<ChainFaults*>(X509_STORE_CTX_get_app_data(verification));
        faults->add(X509_STORE_CTX_get_error_depth(verification),
                    verificationError(X509_STORE_CTX_get_error(verification)).trustBit);
    }
    return continueVerification;
}

// Returns the untrusted certificates for the chain. For a certificate of the personal store these
// are only its extra certificates: certificates in other files aren't sent with it, so a peer
// couldn't build the chain. For a peer's certificate they include its store, which is what the peer
// sent.
std::vector<X509*> untrustedCertificates(const Context& leaf, const ChainRequest& request) {
    std::vector<X509*> certificates = leaf.certificate->extraCertificates();
    const auto addEntries = [&certificates](const Store& store) {
        for (const StoreEntry& entry : store.content->entries) {
            certificates.push_back(entry.certificate->x509());
        }
    };
    if (leaf.store && leaf.certificate->keyState() == KeyState::absent) {
        addEntries(*leaf.store);
    }
    if (request.additional) {
        addEntries(*request.additional);
    }
    return certificates;
}

// With a purpose, OpenSSL checks the usages of every element; it has one for TLS servers and
// clients.
Purpose purposeOf(const std::vector<std::string>& usages) {
    const auto isRequested = [&usages](const char* usage) {
        return std::find(usages.begin(), usages.end(), usage) != usages.end();
    };
    if (isRequested(serverAuthentication)) {
        return Purpose::server;
    }
    return isRequested(clientAuthentication) ? Purpose::client : Purpose::any;
}

// A certificate without the extension permits every usage.
bool allowsUsages(const X509* certificate, const std::vector<std::string>& required) {
    std::vector<std::string> allowed;
    if (!readUsages(certificate, allowed)) {
        return true;
    }
    const auto isAllowed = [&allowed](const std::string& usage) {
        return std::find(allowed.begin(), allowed.end(), usage) != allowed.end();
    };
    return isAllowed(anyUsage) || std::all_of(required.begin(), required.end(), isAllowed);
}

std::vector<CertificatePointer> issuersInChain(X509_STORE_CTX* verification) {
    const STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(verification);
    std::vector<CertificatePointer> elements;
    for (int i = 1; i < sk_X509_num(chain); ++i) {
        elements.push_back(std::make_shared<const Certificate>(
            sharedReference(sk_X509_value(chain, i)), KeyAndChain{}));
    }
    return elements;
}

// Returns whether the key of an element can't be decoded, and marks the elements with such a key.
// OpenSSL then ends the verification early, as it couldn't check a signature.
bool findUndecodableKeys(X509_STORE_CTX* verification, ChainFaults& faults) noexcept {
    const STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(verification);
    bool isFound = false;
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        if (!X509_get0_pubkey(sk_X509_value(chain, i))) {
            faults.add(i, CERT_TRUST_IS_NOT_SIGNATURE_VALID);
            isFound = true;
        }
    }
    return isFound;
}

} // namespace

std::unique_ptr<Chain> buildChain(PCCERT_CONTEXT leafContext, const ChainRequest& request) {
    const ErrorQueueGuard errors;
    const Context& leaf = Context::of(leafContext);
    X509* certificate = leaf.certificate->x509();
    const std::shared_ptr<X509_STORE> anchors = trustStore();
    const BorrowingStack untrusted = stackOf(untrustedCertificates(leaf, request));
    const auto verification = orOutOfMemory(StoreContextPointer(X509_STORE_CTX_new()));
    requireSuccess("X509_STORE_CTX_init", X509_STORE_CTX_init(verification.get(), anchors.get(),
                                                              certificate, untrusted.get()) == 1);
    ChainFaults faults;
    orOutOfMemory(X509_STORE_CTX_set_app_data(verification.get(), &faults));
    X509_STORE_CTX_set_verify_cb(verification.get(), recordFault);
    setPurpose(X509_STORE_CTX_get0_param(verification.get()), purposeOf(request.usages));
    if (request.time) {
        X509_STORE_CTX_set_time(verification.get(), 0, *request.time);
    }
    requireSuccess("X509_verify_cert", X509_verify_cert(verification.get()) == 1 ||
                                           findUndecodableKeys(verification.get(), faults));
    if (!allowsUsages(certificate, request.usages)) {
        faults.add(0, CERT_TRUST_IS_NOT_VALID_FOR_USAGE);
    }
    return std::make_unique<Chain>(leafContext, issuersInChain(verification.get()), faults);
}

} // namespace VexaSsl::openssl
