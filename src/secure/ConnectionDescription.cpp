#include "secure/ConnectionDescription.h"

#include "certificates/CertificateHandle.h"
#include "certificates/CertificateNames.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/SecureSocketRecord.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>

namespace VexaSsl {

namespace {

struct ProtocolName {
    DWORD bits; // of the client and of the server
    const wchar_t* name;
};
constexpr std::array<ProtocolName, 5> protocolNames = {
    {{SP_PROT_SSL3_SERVER | SP_PROT_SSL3_CLIENT, L"SSL 3.0"},
     {SP_PROT_TLS1_SERVER | SP_PROT_TLS1_CLIENT, L"TLS 1.0"},
     {SP_PROT_TLS1_1_SERVER | SP_PROT_TLS1_1_CLIENT, L"TLS 1.1"},
     {SP_PROT_TLS1_2_SERVER | SP_PROT_TLS1_2_CLIENT, L"TLS 1.2"},
     {SP_PROT_TLS1_3_SERVER | SP_PROT_TLS1_3_CLIENT, L"TLS 1.3"}}};

// Empty if the platform doesn't tell.
std::wstring protocolOf(CtxtHandle* context) {
    SecPkgContext_ConnectionInfo info{};
    if (platform::QueryContextAttributesW(context, SECPKG_ATTR_CONNECTION_INFO, &info) !=
        SEC_E_OK) {
        return {};
    }
    const auto* const found =
        std::find_if(protocolNames.begin(), protocolNames.end(), [&](const ProtocolName& entry) {
            return (info.dwProtocol & entry.bits) != 0;
        });
    return found == protocolNames.end() ? L"TLS" : found->name;
}

std::wstring cipherSuiteOf(CtxtHandle* context) {
    SecPkgContext_CipherInfo info{};
    info.dwVersion = SECPKGCONTEXT_CIPHERINFO_V1;
    if (platform::QueryContextAttributesW(context, SECPKG_ATTR_CIPHER_INFO, &info) != SEC_E_OK) {
        return {};
    }
    return info.szCipherSuite;
}

// attribute is one of a certificate. Empty if the connection has none or the platform can't report
// it. Throws std::bad_alloc.
CertificateHandle certificateOf(CtxtHandle* context, ULONG attribute) {
    PCCERT_CONTEXT certificate = nullptr;
    const SECURITY_STATUS status =
        platform::QueryContextAttributesW(context, attribute, &certificate);
    if (status == SEC_E_INSUFFICIENT_MEMORY) {
        throw std::bad_alloc();
    }
    return status == SEC_E_OK ? CertificateHandle(certificate) : CertificateHandle();
}

// The handshake has succeeded: a client's package has verified the server, and a server that asks
// for a certificate has verified the client.
bool hasJudgedPeer(const SecureSocketRecord& record) {
    return !record.isServer || record.options.requireClientAuthentication;
}

} // namespace

ConnectionInfo describeConnection(SecureSocketRecord& record) {
    CtxtHandle* const context = record.securityContext.address();
    ConnectionInfo info;
    info.protocol = protocolOf(context);
    if (info.protocol.empty()) {
        return info;
    }
    info.cipherSuite = cipherSuiteOf(context);
    if (const auto peer = certificateOf(context, SECPKG_ATTR_REMOTE_CERT_CONTEXT)) {
        const CERT_CONTEXT& certificate = *peer.get();
        info.peerCertificate.assign(certificate.pbCertEncoded,
                                    certificate.pbCertEncoded + certificate.cbCertEncoded);
        info.peerSubject = subjectOf(peer.get());
        info.peerNames = dnsNamesOf(peer.get());
        info.peerTrusted = hasJudgedPeer(record);
    }
    if (const auto own = certificateOf(context, SECPKG_ATTR_LOCAL_CERT_CONTEXT)) {
        info.ownSubject = subjectOf(own.get());
    }
    return info;
}

} // namespace VexaSsl
