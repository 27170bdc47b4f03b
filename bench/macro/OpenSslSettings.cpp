#include "OpenSslSettings.h"

#include <openssl/err.h>
#include <stdexcept>

namespace VexaSsl::bench {

void checkOpenSsl(long result, const char* what) {
    if (result != 1) {
        const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
        throw std::runtime_error(std::string(what) + ": " + (reason ? reason : "unknown error"));
    }
}

void applyTerms(SSL_CTX* context, const Terms& terms) {
    SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    checkOpenSsl(SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION), "protocol");
    checkOpenSsl(SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION), "protocol");
    checkOpenSsl(SSL_CTX_set_cipher_list(context, terms.cipherSuites.c_str()), "cipher suites");
    if (!terms.groups.empty()) {
        checkOpenSsl(SSL_CTX_set1_groups_list(context, terms.groups.c_str()), "groups");
    }
}

ContextPointer makeClientContext(const Terms& terms) {
    ContextPointer context(SSL_CTX_new(TLS_client_method()));
    applyTerms(context.get(), terms);
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    checkOpenSsl(SSL_CTX_load_verify_locations(context.get(), terms.trust.c_str(), nullptr),
                 "trust");
    return context;
}

ContextPointer makeServerContext(const Terms& terms) {
    ContextPointer context(SSL_CTX_new(TLS_server_method()));
    applyTerms(context.get(), terms);
    checkOpenSsl(SSL_CTX_use_certificate_chain_file(context.get(), terms.certificate.c_str()),
                 "certificate");
    checkOpenSsl(SSL_CTX_use_PrivateKey_file(context.get(), terms.key.c_str(), SSL_FILETYPE_PEM),
                 "key");
    return context;
}

} // namespace VexaSsl::bench
