#include "explain/ChainFaults.h"

#include "common/Text.h"
#include "frame/ErrorText.h"
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

namespace {

const char* purposeName(const ChainPlace& place) {
    return place.forServer ? "server authentication (1.3.6.1.5.5.7.3.1)"
                           : "client authentication (1.3.6.1.5.5.7.3.2)";
}

bool isLeaf(const ChainPlace& place) {
    return place.issued == nullptr;
}

Fault timeFault(const ChainPlace& place) {
    if (place.at < place.facts.notBefore) {
        return {"not-yet-valid", "it isn't valid before " + utcText(place.facts.notBefore),
                "check the clock of this machine; if it is right, wait until then or have a "
                "certificate issued that is valid now"};
    }
    const std::string cause = "its validity ended at " + utcText(place.facts.notAfter);
    if (isLeaf(place)) {
        return {
            "expired", cause,
            "have it renewed and put the new certificate, with its key, in its place (and check "
            "the clock of this machine)"};
    }
    return {"expired", cause,
            "get the authority's renewed certificate and replace this one by it, where "
            "the chain is sent or among the trust anchors"};
}

Fault usageFault(const ChainPlace& place) {
    const std::string purpose = purposeName(place);
    if (isLeaf(place)) {
        return {"usage",
                "it isn't meant for " + purpose + ": its usages are " + shownUsages(place.facts),
                "have a certificate issued with the usage " + purpose};
    }
    return {"usage",
            "this authority may not issue certificates for " + purpose + ": its usages are " +
                shownUsages(place.facts),
            "have the certificate issued by an authority whose own certificate allows that use"};
}

Fault untrustedFault(const ChainPlace& place) {
    if (isLeaf(place)) {
        return {"self-signed", "it is signed by itself and isn't among the trust anchors here",
                "have it issued by an authority that is trusted here; or compare its thumbprint "
                "with its owner and add it to the trust anchors (root/ of the certificate folder; "
                "on Windows the machine's Trusted Root Certification Authorities)"};
    }
    return {"untrusted-root", "the chain ends with it, and it isn't among the trust anchors here",
            "compare its thumbprint with the authority; if it is to be trusted, add this "
            "certificate to the trust anchors (root/ of the certificate folder; on Windows the "
            "machine's Trusted Root Certification Authorities)"};
}

Fault missingIssuerFault(const ChainPlace& place) {
    const std::string issuer = "[" + shownName(place.facts.issuer) + "]";
    return {"missing-issuer",
            "the certificate of its issuer " + issuer + " is neither sent along nor known here",
            "have the sender send the certificate of " + issuer +
                " after this one (for a certificate of ours: add it to the certificate's file); if "
                "that is a root, add it to the trust anchors (root/ of the certificate folder; on "
                "Windows the machine's Trusted Root Certification Authorities)"};
}

Fault signatureFault(const ChainPlace& place) {
    if (const std::string weakness = weaknessOf(place.facts.key); !weakness.empty()) {
        return {"signature", weakness,
                isLeaf(place) ? "have a new one issued with a stronger key and signature"
                              : "use an authority with a stronger key and signature"};
    }
    return {
        "signature",
        "its signature isn't the one that its issuer [" + shownName(place.facts.issuer) +
            "] would make, or its key can't be decoded, or its key or signature is weaker than TLS "
            "asks for (RSA under 2048 bits, SHA-1)",
        isLeaf(place)
            ? "install the certificate again from the authority's original; if its key is "
              "short or its signature SHA-1, have a new one issued"
            : "replace it by the authority's original; if its key is short or its signature "
              "SHA-1, use another authority"};
}

Fault authorityFault(const ChainPlace& place) {
    if (isLeaf(place)) {
        return {"not-an-authority", "its basic constraints don't fit its place in the chain",
                "have it issued again with the right basic constraints"};
    }
    return {"not-an-authority",
            "it signed [" + shownTitle(*place.issued) +
                "], but isn't an authority, or may not have so many below it",
            "have [" + shownTitle(*place.issued) + "] issued by an authority"};
}

Fault constraintFault(const ChainPlace& place) {
    return {"name-constraint",
            "its names, or those below it, are outside of what its authority may issue",
            "have [" + shownTitle(place.issued == nullptr ? place.facts : *place.issued) +
                "] issued for permitted names, or by another authority"};
}

Fault extensionFault(const ChainPlace&) {
    return {"extension", "it has an extension that must be understood and isn't",
            "have it issued without that extension"};
}

Fault revokedFault(const ChainPlace&) {
    return {"revoked", "its authority has revoked it",
            "find out why; have a new certificate issued, with a new key"};
}

Fault revocationUnknownFault(const ChainPlace&) {
    return {"revocation-unknown", "it is unknown whether it is revoked",
            "let this machine reach the authority's revocation service"};
}

struct Rule {
    DWORD bits;
    Fault (*make)(const ChainPlace& place);
};

// In the order of precedence.
constexpr Rule rules[] = {
    {CERT_TRUST_IS_REVOKED, revokedFault},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, untrustedFault},
    {CERT_TRUST_IS_PARTIAL_CHAIN, missingIssuerFault},
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, signatureFault},
    {CERT_TRUST_INVALID_BASIC_CONSTRAINTS, authorityFault},
    {CERT_TRUST_INVALID_NAME_CONSTRAINTS, constraintFault},
    {CERT_TRUST_INVALID_EXTENSION, extensionFault},
    {CERT_TRUST_IS_NOT_TIME_VALID, timeFault},
    {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, usageFault},
    {CERT_TRUST_REVOCATION_STATUS_UNKNOWN, revocationUnknownFault},
};

} // namespace

std::vector<Fault> faultsOf(const ChainPlace& place) {
    std::vector<Fault> faults;
    DWORD rest = place.trustBits;
    for (const Rule& rule : rules) {
        if ((place.trustBits & rule.bits) != 0) {
            faults.push_back(rule.make(place));
            rest &= ~rule.bits;
        }
    }
    if (rest != 0) {
        faults.push_back({"other", "the system found a fault of the kind " + std::to_string(rest),
                          "inspect the certificate with the system's own tools"});
    }
    return faults;
}

Fault wrongNameFault(const CertificateFacts& facts, const std::string& name) {
    return {"name",
            "it isn't made out to [" + printableText(std::string_view(name)) + "]: its names are " +
                shownNames(facts.names),
            "connect by one of its names, or have a certificate issued for this name; an address "
            "counts only if the certificate carries that address"};
}

Fault forbiddenNameFault(const std::string& name) {
    return {"name-constraint",
            "an authority in the chain may not issue for [" +
                printableText(std::string_view(name)) +
                "], although a name of the certificate "
                "covers it",
            "connect by a name that the authority permits, or have a certificate issued for this "
            "name by another authority"};
}

Fault otherFault(DWORD status) {
    return {"other",
            "the system's verdict is " + std::to_string(status) + " (" +
                printableText(systemErrorText(status)) + ")",
            "inspect the chain with the system's own tools"};
}

} // namespace VexaSsl::tool
