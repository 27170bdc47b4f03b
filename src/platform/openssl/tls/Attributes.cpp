#include "platform/contract/SecuritySupport.h"

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/tls/PackageCall.h"
#include "platform/openssl/tls/SecurityHandles.h"
#include "platform/openssl/tls/TlsConnection.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace VexaSsl {
namespace {

using namespace openssl;

constexpr ULONG recordBufferCount = 4; // of EncryptMessage and DecryptMessage
constexpr ULONG noBlockSize = 1;       // AEAD cipher suites need no padding

void writeStreamSizes(const RecordShape& shape, SecPkgContext_StreamSizes& sizes) {
    sizes.cbHeader = static_cast<ULONG>(shape.headerSize);
    sizes.cbTrailer = static_cast<ULONG>(shape.trailerSize);
    sizes.cbMaximumMessage = static_cast<ULONG>(shape.maximumMessage);
    sizes.cBuffers = recordBufferCount;
    sizes.cbBlockSize = noBlockSize;
}

X509Pointer decoded(const std::vector<unsigned char>& encoded) {
    const unsigned char* next = encoded.data();
    return orOutOfMemory(X509Pointer(d2i_X509(nullptr, &next, static_cast<long>(encoded.size()))));
}

PCCERT_CONTEXT decodedPeerContext(const EncodedCertificates& peer) {
    const auto chain = orOutOfMemory(CertificateStack(sk_X509_new_null()));
    for (const std::vector<unsigned char>& certificate : peer.chain) {
        X509Pointer element = decoded(certificate);
        orOutOfMemory(sk_X509_push(chain.get(), element.get()));
        static_cast<void>(element.release()); // owned by the stack
    }
    return newConnectionContext(decoded(peer.leaf).get(), chain.get());
}

PCCERT_CONTEXT peerContext(const TlsConnection& context) {
    if (const SSL* ssl = context.ssl.get()) {
        return newConnectionContext(SSL_get0_peer_certificate(ssl), SSL_get_peer_cert_chain(ssl));
    }
    if (const PeerCertificates& peer = context.decodedPeer; peer.leaf) {
        return newConnectionContext(peer.leaf.get(), peer.chain.get());
    }
    return decodedPeerContext(context.peer);
}

SECURITY_STATUS queryPeerCertificate(const TlsConnection& context, PCCERT_CONTEXT& certificate) {
    if (!context.hasPeerCertificate()) {
        return SEC_E_NO_CREDENTIALS;
    }
    certificate = peerContext(context);
    return SEC_E_OK;
}

SECURITY_STATUS queryOwnCertificate(const TlsConnection& context, PCCERT_CONTEXT& certificate) {
    if (!context.ownCertificate) {
        return SEC_E_NO_CREDENTIALS;
    }
    certificate = newConnectionContext(context.ownCertificate.get(), nullptr);
    return SEC_E_OK;
}

void writeConnectionInfo(Role role, SecPkgContext_ConnectionInfo& info) {
    info = {};
    info.dwProtocol = role == Role::client ? SP_PROT_TLS1_2_CLIENT : SP_PROT_TLS1_2_SERVER;
}

void writeCipherInfo(const SSL_CIPHER* cipher, SecPkgContext_CipherInfo& info) {
    info = {};
    info.dwVersion = SECPKGCONTEXT_CIPHERINFO_V1;
    info.dwProtocol = TLS1_2_VERSION;
    info.dwCipherSuite = SSL_CIPHER_get_protocol_id(cipher);
    info.dwBaseCipherSuite = info.dwCipherSuite;
    const std::string_view name = SSL_CIPHER_standard_name(cipher);
    std::copy_n(name.begin(), std::min(name.size(), SZ_ALG_MAX_SIZE - 1), info.szCipherSuite);
}

SECURITY_STATUS query(const TlsConnection& context, ULONG attribute, void* buffer) {
    switch (attribute) {
    case SECPKG_ATTR_STREAM_SIZES:
        writeStreamSizes(context.shape, *static_cast<SecPkgContext_StreamSizes*>(buffer));
        return SEC_E_OK;
    case SECPKG_ATTR_REMOTE_CERT_CONTEXT:
        return queryPeerCertificate(context, *static_cast<PCCERT_CONTEXT*>(buffer));
    case SECPKG_ATTR_LOCAL_CERT_CONTEXT:
        return queryOwnCertificate(context, *static_cast<PCCERT_CONTEXT*>(buffer));
    case SECPKG_ATTR_CONNECTION_INFO:
        writeConnectionInfo(context.role, *static_cast<SecPkgContext_ConnectionInfo*>(buffer));
        return SEC_E_OK;
    case SECPKG_ATTR_CIPHER_INFO:
        writeCipherInfo(context.suite, *static_cast<SecPkgContext_CipherInfo*>(buffer));
        return SEC_E_OK;
    default:
        return SEC_E_UNSUPPORTED_FUNCTION;
    }
}

// The peer's certificate is available as soon as it has arrived, so that a later failure of the
// handshake can be explained; everything else once the connection is established.
bool hasAttribute(const TlsConnection& context, ULONG attribute) {
    const Stage stage = context.stage;
    const bool isEstablished = stage == Stage::established || stage == Stage::closed;
    return isEstablished ||
           (attribute == SECPKG_ATTR_REMOTE_CERT_CONTEXT && context.hasPeerCertificate());
}

} // namespace

SECURITY_STATUS platform::QueryContextAttributesW(CtxtHandle* context, ULONG attribute,
                                                  void* buffer) {
    return packageCall([&]() -> SECURITY_STATUS {
        const std::shared_ptr<TlsConnection> found = objectOf<TlsConnection>(context);
        if (!found) {
            return SEC_E_INVALID_HANDLE;
        }
        const std::lock_guard lock(found->mutex);
        if (!hasAttribute(*found, attribute)) {
            return SEC_E_INVALID_HANDLE;
        }
        return buffer ? query(*found, attribute, buffer) : SEC_E_INVALID_TOKEN;
    });
}

} // namespace VexaSsl
