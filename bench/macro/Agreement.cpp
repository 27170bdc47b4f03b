#include "Agreement.h"

#include "Loopback.h"
#include "OpenSslSettings.h"

#include <future>
#include <openssl/objects.h>

namespace VexaSsl::bench {

namespace {

std::string nameOfGroup(SSL* ssl) {
    return OBJ_nid2sn(static_cast<int>(SSL_get_negotiated_group(ssl)));
}

void serveOne(Terms& terms, int listener) {
    const ContextPointer context = makeServerContext(terms);
    const Descriptor socket = acceptFrom(listener);
    const SslPointer ssl(SSL_new(context.get()));
    orOpenSslError(SSL_set_fd(ssl.get(), socket.get()), "SSL_set_fd");
    orOpenSslError(SSL_accept(ssl.get()), "SSL_accept");
    terms.suite = SSL_get_cipher_name(ssl.get());
    terms.group = nameOfGroup(ssl.get());
    char waitForTheEnd = 0;
    SSL_read(ssl.get(), &waitForTheEnd, 1);
}

} // namespace

void learnAgreement(Contender& client, Terms& terms) {
    terms.suite = "ALL";
    terms.group.clear();
    client.settle(terms);
    const Descriptor listener = listenOnLoopback();
    auto served = std::async(std::launch::async, [&] { serveOne(terms, listener.get()); });
    client.connect(portOf(listener.get()));
    served.get();
}

} // namespace VexaSsl::bench
