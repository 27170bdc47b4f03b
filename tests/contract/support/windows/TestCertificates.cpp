// The test certificates, made with RSA keys: not every security package takes elliptic curve keys
// from a container.
#include "contract/support/TestCertificates.h"

#include "contract/support/StoreContents.h"

#include <map>
#include <mutex>

namespace VexaSsl::test {
namespace {

bool has(const std::string& name, const char* part) {
    return name.find(part) != std::string::npos;
}

// The authorities are made once per process.
const Issued& authority() {
    static const Issued made = issue(authorityNamed("contract authority"));
    return made;
}
const Issued& otherAuthority() {
    static const Issued made = issue(authorityNamed("contract other authority"));
    return made;
}
const Issued& intermediate() {
    static const Issued made = issue(authorityNamed("contract intermediate"), &authority());
    return made;
}

Recipe recipeOf(const std::string& name) {
    Recipe recipe = serverNamed("localhost");
    if (has(name, "wrong-name")) {
        recipe = serverNamed("elsewhere.test");
    }
    if (has(name, "no-names")) {
        recipe.dnsNames.clear();
    }
    if (has(name, "client")) {
        recipe.usages = "clientAuth";
    }
    if (has(name, "expired")) {
        recipe.firstDay = -20;
        recipe.lastDay = -10;
    }
    recipe.subject = {{"O", "contract " + name}};
    return recipe;
}

const Issued* issuerOf(const std::string& name) {
    if (has(name, "self-signed")) {
        return nullptr;
    }
    if (has(name, "untrusted")) {
        return &otherAuthority();
    }
    return has(name, "with-intermediate") ? &intermediate() : &authority();
}

PCCERT_CONTEXT contextOfCase(const std::string& name) {
    static std::map<std::string, Issued> made;
    static std::mutex guard;
    const std::lock_guard lock(guard);
    if (!made.contains(name)) {
        made.emplace(name, issue(recipeOf(name), issuerOf(name)));
    }
    if (has(name, "with-intermediate")) {
        return makeContext(made.at(name), {&intermediate()});
    }
    return makeContext(made.at(name), {});
}

} // namespace

struct ScopedCertificates::State {
    State() { contents.trust("authority", authority()); }

    StoreContents contents;
};

ScopedCertificates::ScopedCertificates() : state(std::make_unique<State>()) {}

ScopedCertificates::~ScopedCertificates() = default;

StoreCertificate::StoreCertificate(const std::string& name) : certificate(contextOfCase(name)) {}

StoreCertificate::~StoreCertificate() {
    ::CertFreeCertificateContext(certificate);
}

} // namespace VexaSsl::test
