// The trust anchors, and how long they are kept.
#include "openssl/CertificateFolderTest.h"

#include "platform/openssl/stores/CertificateObject.h"

namespace VexaSsl::test {
namespace {

class TrustStore : public CertificateFolderTest {};

TEST_F(TrustStore, isTheSameObjectWhileNothingChanges) {
    write("root/one.pem", pem(issue(authorityNamed("one"))));
    EXPECT_EQ(openssl::trustStore(), openssl::trustStore());
}

TEST_F(TrustStore, isAnotherObjectAfterAChange) {
    const auto before = openssl::trustStore();
    write("root/one.pem", pem(issue(authorityNamed("one"))));
    EXPECT_NE(before, openssl::trustStore());
}

bool hasAnchor(const Issued& authority) {
    STACK_OF(X509_OBJECT)* objects = X509_STORE_get0_objects(openssl::trustStore().get());
    for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
        const X509* anchor = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(objects, i));
        if (anchor && X509_cmp(anchor, authority.certificate.get()) == 0) {
            return true;
        }
    }
    return false;
}

TEST_F(TrustStore, holdsTheAnchorsOfTheFolder) {
    const Issued one = issue(authorityNamed("one"));
    const Issued two = issue(authorityNamed("two"));
    write("root/both.pem", pem(one) + pem(two));
    EXPECT_TRUE(hasAnchor(one));
    EXPECT_TRUE(hasAnchor(two));
}

TEST_F(TrustStore, forgetsAnAnchorThatWasRemoved) {
    const Issued one = issue(authorityNamed("one"));
    write("root/one.pem", pem(one));
    EXPECT_TRUE(hasAnchor(one));
    remove("root/one.pem");
    EXPECT_FALSE(hasAnchor(one));
}

TEST_F(TrustStore, brokenFileDoesNotStopTheOthers) {
    const Issued one = issue(authorityNamed("one"));
    write("root/a.pem", "-----BEGIN CERTIFICATE-----\nnot base64!\n-----END CERTIFICATE-----\n");
    write("root/b.pem", pem(one));
    EXPECT_TRUE(hasAnchor(one));
}

TEST_F(TrustStore, missingFolderIsNoFailure) {
    std::filesystem::remove(path("root"));
    EXPECT_NE(openssl::trustStore(), nullptr);
}

} // namespace
} // namespace VexaSsl::test
