// The name that a client expects, against the name constraints of the issuers in a chain.
#include "contract/support/ThrowawayPki.h"
#include "platform/openssl/stores/NameConstraints.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <gtest/gtest.h>

#include <openssl/x509_vfy.h>

#include <vector>

namespace VexaSsl::test {
namespace {

int errorOf(const char* name, const std::vector<const Issued*>& chain) {
    std::vector<X509*> certificates;
    for (const Issued* element : chain) {
        certificates.push_back(element->certificate.get());
    }
    return openssl::constraintError(name, openssl::stackOf(certificates).get());
}

class NameConstraints : public ::testing::Test {
protected:
    static Issued insideOnly() {
        Recipe recipe = authorityNamed("inside only");
        recipe.permittedDnsName = "inside.test";
        return issue(recipe);
    }

    const Issued leaf = issue(serverNamed("*.test"));
    const Issued free = issue(authorityNamed("free"));
    const Issued inside = insideOnly();
};

TEST_F(NameConstraints, everyIssuerMustPermitTheName) {
    EXPECT_EQ(errorOf("www.inside.test", {&leaf, &free, &inside}), X509_V_OK);
    EXPECT_EQ(errorOf("www.outside.test", {&leaf, &free, &inside}), X509_V_ERR_PERMITTED_VIOLATION);
    EXPECT_EQ(errorOf("www.outside.test", {&leaf, &inside, &free}), X509_V_ERR_PERMITTED_VIOLATION);
}

TEST_F(NameConstraints, constraintsOfTheLeafDoNotCount) {
    EXPECT_EQ(errorOf("www.outside.test", {&inside, &free}), X509_V_OK);
}

TEST_F(NameConstraints, constraintsThatCannotBeDecodedPermitNothing) {
    ASN1_OCTET_STRING* value = ASN1_OCTET_STRING_new();
    ASN1_OCTET_STRING_set(value, reinterpret_cast<const unsigned char*>("\x05"), 2);
    X509_EXTENSION* extension =
        X509_EXTENSION_create_by_NID(nullptr, NID_name_constraints, 1, value);
    const Issued broken = issue(authorityNamed("broken"));
    X509_add_ext(broken.certificate.get(), extension, -1);
    X509_EXTENSION_free(extension);
    ASN1_OCTET_STRING_free(value);
    EXPECT_EQ(errorOf("a.test", {&leaf, &broken}), X509_V_ERR_UNSUPPORTED_CONSTRAINT_SYNTAX);
}

} // namespace
} // namespace VexaSsl::test
