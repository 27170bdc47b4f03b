// The trust anchors and their cache.
#include "openssl/CertificateFolderTest.h"

#include "platform/openssl/stores/CertificateObject.h"

#include <openssl/pem.h>

namespace VexaSsl::test {
namespace {

class TrustStore : public CertificateFolderTest {};

TEST_F(TrustStore, unchangedTrustStoreIsTheSameObject) {
    write("root/one.pem", pem(issue(authorityNamed("one"))));
    EXPECT_EQ(openssl::trustStore(), openssl::trustStore());
}

TEST_F(TrustStore, changedTrustStoreIsAnotherObject) {
    const auto before = openssl::trustStore();
    write("root/one.pem", pem(issue(authorityNamed("one"))));
    EXPECT_NE(before, openssl::trustStore());
}

TEST_F(TrustStore, trustStoreHoldsTheAnchorsOfTheFolder) {
    const Issued one = issue(authorityNamed("one"));
    const Issued two = issue(authorityNamed("two"));
    write("root/both.pem", pem(one) + pem(two));
    EXPECT_TRUE(hasAnchor(one));
    EXPECT_TRUE(hasAnchor(two));
}

TEST_F(TrustStore, removedAnchorIsNotTrusted) {
    const Issued one = issue(authorityNamed("one"));
    write("root/one.pem", pem(one));
    EXPECT_TRUE(hasAnchor(one));
    remove("root/one.pem");
    EXPECT_FALSE(hasAnchor(one));
}

TEST_F(TrustStore, brokenFileDoesNotAffectOtherFiles) {
    const Issued one = issue(authorityNamed("one"));
    write("root/a.pem", "-----BEGIN CERTIFICATE-----\nnot base64!\n-----END CERTIFICATE-----\n");
    write("root/b.pem", pem(one));
    EXPECT_TRUE(hasAnchor(one));
}

TEST_F(TrustStore, intactBlocksAfterBrokenOnesCount) {
    const Issued one = issue(authorityNamed("one"));
    write("root/a.pem",
          "-----BEGIN CERTIFICATE-----\nnot base64!\n-----END CERTIFICATE-----\n" + pem(one));
    EXPECT_TRUE(hasAnchor(one));
}

TEST_F(TrustStore, certificateWithTrustSettingsIsAnchor) {
    const Issued one = issue(authorityNamed("one"));
    X509_alias_set1(one.certificate.get(), reinterpret_cast<const unsigned char*>("alias"), 5);
    const openssl::BioPointer bio(BIO_new(BIO_s_mem()));
    ASSERT_EQ(PEM_write_bio_X509_AUX(bio.get(), one.certificate.get()), 1);
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    write("root/one.pem", {text, static_cast<std::size_t>(size)});
    EXPECT_TRUE(hasAnchor(one));
}

TEST_F(TrustStore, fileLargerThan16MebibytesIsSkipped) {
    const Issued one = issue(authorityNamed("one"));
    std::string text = pem(one);
    text.resize(std::size_t{16} << 20, '\n');
    write("root/one.pem", text);
    EXPECT_TRUE(hasAnchor(one));
    write("root/one.pem", text + '\n');
    EXPECT_FALSE(hasAnchor(one));
}

TEST_F(TrustStore, systemBundleIsTrusted) {
    const openssl::BioPointer bundle(BIO_new_file("/etc/ssl/certs/ca-certificates.crt", "r"));
    if (!bundle) {
        GTEST_SKIP() << "this machine has no bundle of authorities";
    }
    Issued first;
    first.certificate.reset(PEM_read_bio_X509(bundle.get(), nullptr, nullptr, nullptr));
    ASSERT_TRUE(first.certificate);
    EXPECT_TRUE(hasAnchor(first));
}

TEST_F(TrustStore, missingFolderIsAccepted) {
    std::filesystem::remove(path("root"));
    EXPECT_NE(openssl::trustStore(), nullptr);
}

} // namespace
} // namespace VexaSsl::test
