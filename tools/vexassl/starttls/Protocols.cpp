#include "starttls/Protocols.h"

#include <array>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

struct Protocol {
    const char* name;
    void (*run)(CleartextDialog& dialog);
};

constexpr std::array<Protocol, 5> protocols = {{
    {"smtp", requestTlsOverSmtp},
    {"imap", requestTlsOverImap},
    {"pop3", requestTlsOverPop3},
    {"ldap", requestTlsOverLdap},
    {"postgres", requestTlsOverPostgres},
}};

} // namespace

std::vector<std::string> startTlsProtocols() {
    std::vector<std::string> names;
    for (const Protocol& protocol : protocols) {
        names.emplace_back(protocol.name);
    }
    return names;
}

void requestTls(const std::string& protocol, ISocketStrategy& strategy, SOCKET s) {
    for (const Protocol& candidate : protocols) {
        if (protocol == candidate.name) {
            CleartextDialog dialog(strategy, s, protocol);
            candidate.run(dialog);
            dialog.expectNothingMore();
        }
    }
}

} // namespace VexaSsl::tool
