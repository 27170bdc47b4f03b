// The consequences of failing certificate calls.
#include "faults/FailingCall.h"

#include <algorithm>

namespace VexaSsl::test {

namespace {

const std::wstring machineName = L"machine.integration.test";
const std::wstring certificateAtFault =
    L"This error applies to the certificate with the friendly name [";

} // namespace

Consequence FailingCall::ofCertificates() const {
    switch (call.call) {
    case Call::CertOpenStore:
        return handshakeFails({failed(L"CertOpenStore", failure.error)},
                              std::to_wstring(failure.error), false);
    case Call::CertCloseStore:
        return ofClosing();
    case Call::CertFindCertificateInStore:
        return ofSearch();
    case Call::CertCompareCertificate:
        return handshakeFails(
            {error(L"Tried to find a default certificate, but none were suitable")},
            L"no default certificate");
    case Call::CertGetCertificateChain: {
        // Always logged with error 0; the policy then has no chain to check.
        const DWORD none = 0;
        return ofRejectedChain(Lines{failed(L"CertGetCertificateChain", none)} +
                               linesOfPolicyStatus());
    }
    case Call::CertVerifyCertificateChainPolicy:
        return ofRejectedChain(linesOfPolicyStatus());
    default:
        return ofName();
    }
}

Consequence FailingCall::ofClosing() const {
    const LogLine line =
        failure.error == CRYPT_E_PENDING_CLOSE
            ? warning(L"On calling CertCloseStore, not all certs or contexts were previously "
                      L"freed. Memory has been leaked.")
            : failed(L"CertCloseStore", failure.error);
    return continues({storeClosed, line}, 1);
}

Consequence FailingCall::ofSearch() const {
    if (call.detail == Detail::further) {
        return continues(); // the enumeration ends, with everything needed found
    }
    const bool byName = call.detail == Detail::byName;
    const std::wstring purpose = scenario.serves ? L"Server" : L"Client";
    const bool isDefault = scenario.certificate == Certificate::any;
    const std::wstring name = isDefault ? machineName : scenario.searchedName;
    // The base has the search term if the search failed there.
    const LogLine term =
        call.result == 0 ? nextLine(1)
                         : info(byName ? L"Name searched for: [" + name + L"]"
                                       : L"EKU searched for: [" + purpose + L" Authentication]");
    Lines lines = {failed(byName ? L"CertFindCertificateInStore (by name)"
                                 : L"CertFindCertificateInStore (by extended key usage)",
                          failure.error),
                   term};
    if (isDefault) {
        lines.push_back(error(L"Tried to find a default certificate, but none were suitable"));
        return handshakeFails(std::move(lines), L"no default certificate");
    }
    lines.push_back(error(L"Was not able to find a certificate with the name [" + name + L"]"));
    return handshakeFails(std::move(lines), L"no available certificate");
}

// Empty without a chain.
std::wstring FailingCall::nameAtFault() const {
    const auto before = callsBefore();
    const auto built = std::find_if(before.rbegin(), before.rend(), [](const SeenCall& seen) {
        return seen.call == Call::CertGetCertificateChain;
    });
    const bool hasChain = built != before.rend() && built->result != FALSE;
    const std::wstring name = checksOwnCertificate() ? machineName : L"client.test";
    return hasChain ? name : std::wstring();
}

Lines FailingCall::linesOfPolicyStatus() const {
    if (call.call == Call::CertGetCertificateChain || failure.result == FALSE) {
        return {
            warning(L"CertVerifyCertificateChainPolicy was unable to check the certificate chain"),
            info(L"GetLastError returned: " + withText(0) +
                 L", which is not documented to be useful, but not documented to not be "
                 L"useful")};
    }
    const std::wstring purpose = checksOwnCertificate() ? L"server" : L"client";
    std::wstring place = L"This error applies to the entire certificate chain";
    if (failure.elementIndex != -1) {
        place = certificateAtFault + nameAtFault() + L"]";
    } else if (failure.chainIndex != -1) {
        place = L"This error applies to the complete simple chain begining at the certificate "
                L"with the friendly name [" +
                nameAtFault() + L"]";
    }
    return {
        warning(L"CertVerifyCertificateChainPolicy returned status: " + withText(failure.verdict)),
        info(L"The certificate chain is not trusted for " + purpose + L" authentication"),
        info(L"The following information is not complete, but provided as a starting point. "
             L"Please inspect the certificate chain through the Microsoft Management Console"),
        info(place)};
}

Consequence FailingCall::ofRejectedChain(const Lines& why) const {
    if (scenario.certificate == Certificate::any) {
        return handshakeFails(
            why + Lines{error(L"Tried to find a default certificate, but none were suitable")},
            L"no default certificate");
    }
    return handshakeFails(
        why + Lines{error(L"The certificate provided by the client is not trusted. Terminating "
                          L"connection")},
        L"client authentication failed: cert not trusted");
}

Consequence FailingCall::ofName() const {
    if (nextLine().text.starts_with(certificateAtFault)) {
        return ofFriendlyName();
    }
    const Lines none =
        call.detail == Detail::sizing
            ? Lines{warning(L"CertGetNameStringW could not find any names on the certificate")}
            : Lines{};
    const LogLine report = info(L"All names on this certificate: ");
    const auto further = std::count_if(
        base.calls.begin() + static_cast<std::ptrdiff_t>(position) + 1, base.calls.end(),
        [](const SeenCall& seen) { return seen.call == Call::CertGetNameStringW; });
    if (nextLine().text.starts_with(report.text)) {
        // The names are reported, or found missing before the report.
        return further <= 1 ? continues(none + Lines{report}, 1) : continues();
    }
    return handshakeFails(
        none + Lines{info(L"All names on this certificate: [client.test] "),
                     info(L"The names we would accept are: [client.test]"),
                     error(L"The certificate provided by the client is trusted, but not "
                           L"acceptable. Terminating connection")},
        L"client authentication failed: cert not acceptable");
}

// A name that fails after its size was returned is replaced by zeros.
Consequence FailingCall::ofFriendlyName() const {
    const std::size_t size =
        (checksOwnCertificate() ? machineName : std::wstring(L"client.test")).size();
    const std::wstring zeros(call.detail == Detail::sizing ? 0 : size, L'\0');
    const LogLine place = info(certificateAtFault + zeros + L"]");
    return call.detail == Detail::sizing
               ? continues(
                     {warning(L"CertGetNameString could not find any names on the certificate"),
                      place},
                     1)
               : continues({place}, 1);
}

} // namespace VexaSsl::test
