#include "contract/support/ThrowawayPki.h"

namespace VexaSsl::test {

Recipe named(const std::string& commonName) {
    Recipe recipe;
    recipe.subject = {{"CN", commonName}};
    return recipe;
}

Recipe serverNamed(const std::string& commonName) {
    Recipe recipe = named(commonName);
    recipe.dnsNames = {commonName};
    recipe.usages = "serverAuth";
    return recipe;
}

Recipe authorityNamed(const std::string& commonName) {
    Recipe recipe = named(commonName);
    recipe.basicConstraints = "critical,CA:TRUE";
    return recipe;
}

} // namespace VexaSsl::test
