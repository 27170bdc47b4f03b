#include "chains/MemoryPeer.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

constexpr unsigned char handshakeRecord = 22;
constexpr unsigned char certificateMessage = 11;
constexpr std::size_t recordHeader = 5;
constexpr std::size_t messageHeader = 4;
constexpr std::size_t largestRecord = 16384;

std::size_t number(const std::string& bytes, std::size_t at, int count) {
    std::size_t value = 0;
    for (int i = 0; i < count; ++i) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(i)));
    }
    return value;
}

std::string threeBytes(std::size_t value) {
    return {static_cast<char>(value >> 16 & 0xFF), static_cast<char>(value >> 8 & 0xFF),
            static_cast<char>(value & 0xFF)};
}

std::string certificateMessageOf(const std::vector<Der>& certificates) {
    std::string list;
    for (const Der& certificate : certificates) {
        list += threeBytes(certificate.size()) + certificate;
    }
    return static_cast<char>(certificateMessage) + threeBytes(list.size() + 3) +
           threeBytes(list.size()) + list;
}

std::string records(const std::string& messages) {
    std::string bytes;
    for (std::size_t at = 0; at < messages.size(); at += largestRecord) {
        const std::string part = messages.substr(at, largestRecord);
        bytes += std::string{handshakeRecord, 3, 3} + threeBytes(part.size()).substr(1) + part;
    }
    return bytes;
}

// Returns the flight with the certificates of its handshake messages replaced. The encrypted rest
// is unchanged.
std::string withCertificatesReplaced(const std::string& flight,
                                     const std::vector<Der>& certificates) {
    std::string messages;
    std::size_t rest = 0;
    while (rest < flight.size() && static_cast<unsigned char>(flight[rest]) == handshakeRecord) {
        const std::size_t size = number(flight, rest + 3, 2);
        messages += flight.substr(rest + recordHeader, size);
        rest += recordHeader + size;
    }
    std::string changed;
    for (std::size_t at = 0; at < messages.size();) {
        const std::size_t size = messageHeader + number(messages, at + 1, 3);
        const bool shows = static_cast<unsigned char>(messages[at]) == certificateMessage;
        changed += shows ? certificateMessageOf(certificates) : messages.substr(at, size);
        at += size;
    }
    return records(changed) + flight.substr(rest);
}

X509* decoded(const Der& bytes) {
    const auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
    return d2i_X509(nullptr, &at, static_cast<long>(bytes.size()));
}

bool encodesTo(X509* certificate, const Der& bytes) {
    unsigned char* encoded = nullptr;
    const int size = i2d_X509(certificate, &encoded);
    const bool same =
        size >= 0 && Der(reinterpret_cast<char*>(encoded), static_cast<std::size_t>(size)) == bytes;
    OPENSSL_free(encoded);
    return same;
}

// An OpenSSL server sends no certificate whose key usage excludes its cipher suites.
bool maySign(X509* certificate) {
    return (X509_get_key_usage(certificate) & KU_DIGITAL_SIGNATURE) != 0;
}

// Returns false if OpenSSL cannot send the certificate unchanged.
bool useLeaf(SSL_CTX* context, const Der& bytes, EVP_PKEY* key, bool isServer) {
    X509* certificate = decoded(bytes);
    const bool usable = certificate && encodesTo(certificate, bytes) &&
                        (!isServer || maySign(certificate)) &&
                        SSL_CTX_use_certificate(context, certificate) == 1 &&
                        SSL_CTX_use_PrivateKey(context, key) == 1;
    X509_free(certificate);
    return usable;
}

bool useIssuer(SSL_CTX* context, const Der& bytes) {
    X509* certificate = decoded(bytes);
    if (certificate && encodesTo(certificate, bytes) &&
        SSL_CTX_add_extra_chain_cert(context, certificate) == 1) {
        return true;
    }
    X509_free(certificate);
    return false;
}

bool useChain(SSL_CTX* context, const PresentedChain& presented, bool isServer) {
    return useLeaf(context, presented.certificates.front(), presented.key, isServer) &&
           std::all_of(presented.certificates.begin() + 1, presented.certificates.end(),
                       [context](const Der& bytes) { return useIssuer(context, bytes); });
}

std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> makeContext(bool isServer) {
    return {SSL_CTX_new(isServer ? TLS_server_method() : TLS_client_method()), SSL_CTX_free};
}

} // namespace

MemoryPeer::MemoryPeer(bool isServer, const PresentedChain& presented) {
    const auto prepare = [this, isServer] {
        context.reset(makeContext(isServer).release());
        SSL_CTX_set_security_level(context.get(), 0); // accepts weak keys and signatures
        SSL_CTX_set_mode(context.get(), SSL_MODE_NO_AUTO_CHAIN);
        SSL_CTX_set_max_proto_version(context.get(), TLS1_2_VERSION);
    };
    prepare();
    if (presented.isForced || !useChain(context.get(), presented, isServer)) {
        prepare();
        replacement = presented.certificates;
        PresentedChain placeholder = Chain().keyNamed("leaf").make();
        if (!useChain(context.get(), placeholder, isServer)) {
            throw std::runtime_error("the peer cannot use its own certificate");
        }
    }
    ssl.reset(SSL_new(context.get()));
    SSL_set_bio(ssl.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    BIO_set_mem_eof_return(SSL_get_rbio(ssl.get()), -1);
    if (isServer) {
        SSL_set_accept_state(ssl.get());
    } else {
        SSL_set_connect_state(ssl.get());
    }
    ERR_clear_error();
}

void MemoryPeer::take(const char* bytes, std::size_t size) {
    BIO_write(SSL_get_rbio(ssl.get()), bytes, static_cast<int>(size));
    flights += producedOutput ? 1 : 0;
    producedOutput = false;
}

std::size_t MemoryPeer::produceOutput(char* bytes, std::size_t size) {
    if (outgoing.empty()) {
        SSL_do_handshake(ssl.get());
        ERR_clear_error();
        BIO* const out = SSL_get_wbio(ssl.get());
        outgoing.resize(BIO_ctrl_pending(out));
        BIO_read(out, outgoing.data(), static_cast<int>(outgoing.size()));
        if (!replacement.empty()) {
            outgoing = withCertificatesReplaced(outgoing, replacement);
        }
        producedOutput = true;
    }
    const std::size_t count = std::min(size, outgoing.size());
    std::copy_n(outgoing.begin(), count, bytes);
    outgoing.erase(0, count);
    return count;
}

} // namespace VexaSsl::test
