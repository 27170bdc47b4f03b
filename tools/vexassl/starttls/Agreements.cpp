#include "starttls/Agreements.h"

#include <array>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

struct Agreement {
    const char* name;
    void (*run)(ClearDialog& dialog);
};

constexpr std::array<Agreement, 5> agreements = {{
    {"smtp", agreeOverSmtp},
    {"imap", agreeOverImap},
    {"pop3", agreeOverPop3},
    {"ldap", agreeOverLdap},
    {"postgres", agreeOverPostgres},
}};

} // namespace

std::vector<std::string> agreementNames() {
    std::vector<std::string> names;
    for (const Agreement& agreement : agreements) {
        names.emplace_back(agreement.name);
    }
    return names;
}

void agreeOn(const std::string& protocol, ISocketStrategy& strategy, SOCKET s) {
    for (const Agreement& agreement : agreements) {
        if (protocol == agreement.name) {
            ClearDialog dialog(strategy, s, protocol);
            agreement.run(dialog);
            dialog.expectNothingMore();
        }
    }
}

} // namespace VexaSsl::tool
