#include "Negotiation.h"

#include "Loopback.h"
#include "OpenSslSettings.h"

#include <future>
#include <openssl/objects.h>

namespace VexaSsl::bench {

namespace {

std::string nameOfGroup(SSL* ssl) {
    return OBJ_nid2sn(static_cast<int>(SSL_get_negotiated_group(ssl)));
}

std::string offeredCipherSuites(const SSL* ssl) {
    const STACK_OF(SSL_CIPHER)* offer = SSL_get_client_ciphers(ssl);
    std::string list;
    for (int i = 0; i < sk_SSL_CIPHER_num(offer); ++i) {
        list +=
            (i == 0 ? "" : ":") + std::string(SSL_CIPHER_get_name(sk_SSL_CIPHER_value(offer, i)));
    }
    return list;
}

std::string offeredGroups(SSL* ssl) {
    std::vector<int> groups(static_cast<std::size_t>(SSL_get1_groups(ssl, nullptr)));
    SSL_get1_groups(ssl, groups.data());
    std::string list;
    for (const int group : groups) {
        list += (list.empty() ? "" : ":") + std::string(SSL_group_to_name(ssl, group));
    }
    return list;
}

void serveOne(Terms& terms, int listener) {
    const ContextPointer context = makeServerContext(terms);
    const Descriptor socket = acceptFrom(listener);
    const SslPointer ssl(SSL_new(context.get()));
    checkOpenSsl(SSL_set_fd(ssl.get(), socket.get()), "SSL_set_fd");
    checkOpenSsl(SSL_accept(ssl.get()), "SSL_accept");
    terms.cipherSuite = SSL_get_cipher_name(ssl.get());
    terms.group = nameOfGroup(ssl.get());
    terms.cipherSuites = offeredCipherSuites(ssl.get());
    terms.groups = offeredGroups(ssl.get());
    char ignored = 0;
    SSL_read(ssl.get(), &ignored, 1); // until the client closes
}

} // namespace

void negotiateTerms(Contender& client, Terms& terms) {
    terms.cipherSuites = "ALL";
    terms.groups.clear();
    client.setTerms(terms);
    const Descriptor listener = listenOnLoopback();
    auto served = std::async(std::launch::async, [&] { serveOne(terms, listener.get()); });
    client.connect(portOf(listener.get()));
    served.get();
}

} // namespace VexaSsl::bench
