// FailingCall: certificates.
#include "faults/FailingCall.h"

namespace VexaSsl::test {

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
        // Always with the number 0; the policy then has nothing to judge.
        const DWORD none = 0;
        return ofRejectedChain(Lines{failed(L"CertGetCertificateChain", none)} + linesOfVerdict());
    }
    case Call::CertVerifyCertificateChainPolicy:
        return ofRejectedChain(linesOfVerdict());
    default:
        return ofName();
    }
}

Consequence FailingCall::ofClosing() const {
    const LogLine told =
        failure.error == CRYPT_E_PENDING_CLOSE
            ? warning(L"On calling CertCloseStore, not all certs or contexts were previously "
                      L"freed. Memory has been leaked.")
            : failed(L"CertCloseStore", failure.error);
    return goesOn({storeClosed, told}, 1);
}

Consequence FailingCall::ofSearch() const {
    if (call.detail == Detail::further) {
        return goesOn(); // the walk ends, here with what is needed
    }
    const bool byName = call.detail == Detail::byName;
    const std::wstring purpose = scenario.serves ? L"Server" : L"Client";
    const std::wstring machine = L"machine.integration.test";
    const bool isDefault = scenario.certificate == Certificate::any;
    const std::wstring name = isDefault ? machine : scenario.searchedName;
    Lines lines = {failed(byName ? L"CertFindCertificateInStore (by name)"
                                 : L"CertFindCertificateInStore (by extended key usage)",
                          failure.error),
                   info(byName ? L"Name searched for: [" + name + L"]"
                               : L"EKU searched for: [" + purpose + L" Authentication]")};
    if (isDefault) {
        lines.push_back(error(L"Tried to find a default certificate, but none were suitable"));
        return handshakeFails(std::move(lines), L"no default certificate");
    }
    lines.push_back(error(L"Was not able to find a certificate with the name [" + name + L"]"));
    return handshakeFails(std::move(lines), L"no available certificate");
}

Lines FailingCall::linesOfVerdict() const {
    if (call.call == Call::CertGetCertificateChain || failure.result == FALSE) {
        return {
            warning(L"CertVerifyCertificateChainPolicy was unable to check the certificate chain"),
            info(L"GetLastError returned: " + withText(0) +
                 L", which is not documented to be useful, but not documented to not be "
                 L"useful")};
    }
    const bool judgesServer = scenario.serves && scenario.certificate == Certificate::any;
    const std::wstring purpose = judgesServer ? L"server" : L"client";
    const std::wstring name = judgesServer ? L"machine.integration.test" : L"client.test";
    std::wstring place =
        L"This error applies to the certificate with the friendly name [" + name + L"]";
    if (failure.elementIndex == -1) {
        place = failure.chainIndex == -1
                    ? L"This error applies to the entire certificate chain"
                    : L"This error applies to the complete simple chain begining at the "
                      L"certificate with the friendly name [" +
                          name + L"]";
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
    const Lines none =
        call.detail == Detail::sizing
            ? Lines{warning(L"CertGetNameStringW could not find any names on the certificate")}
            : Lines{};
    if (scenario.certificate == Certificate::any) {
        return goesOn(none + Lines{info(L"All names on this certificate: ")}, 1);
    }
    return handshakeFails(
        none + Lines{info(L"All names on this certificate: [client.test] "),
                     info(L"The names we would accept are: [client.test]"),
                     error(L"The certificate provided by the client is trusted, but not "
                           L"acceptable. Terminating connection")},
        L"client authentication failed: cert not acceptable");
}

} // namespace VexaSsl::test
