// The keys and helpers of the entries of the personal store.
#include "openssl/HelperNames.h"

namespace VexaSsl::test {
namespace {

using openssl::KeyState;
using Names = std::vector<std::wstring>;

class EntryKey : public CertificateFolderTest {
protected:
    static HeldContext entry() {
        const OpenedStore store;
        return firstIn(store.get());
    }
    static KeyState keyStateOfEntry() { return openssl::keyStateOf(entry().get()); }
};

TEST_F(EntryKey, entryHasTheKeyOfItsCertificate) {
    const Issued one = issue(named("one"));
    install("one.pem", one);
    const OpenedStore store;
    const HeldContext entry = firstIn(store.get());
    EXPECT_EQ(EVP_PKEY_eq(openssl::privateKeyOf(entry.get()), one.key.get()), 1);
    EXPECT_EQ(X509_cmp(openssl::x509Of(entry.get()), one.certificate.get()), 0);
}

TEST_F(EntryKey, certificateMatchingTheKeyIsTheEntryAndTheOthersAreHelpers) {
    const Issued root = issue(authorityNamed("root"));
    const Issued between = issue(authorityNamed("between"), &root);
    const Issued leaf = issue(serverNamed("leaf"), &between);
    write("my/leaf.pem", pem(between) + pem(leaf) + pem(root) + keyPem(leaf));
    const OpenedStore store;
    EXPECT_EQ(namesIn(store.get()), Names{L"leaf"});
    EXPECT_EQ(namesOfHelpers(firstIn(store.get()).get()), (Names{L"between", L"root"}));
}

TEST_F(EntryKey, furtherCertificatesOfPkcs12AreHelpersInOrder) {
    const Issued root = issue(authorityNamed("root"));
    const Issued between = issue(authorityNamed("between"), &root);
    const Issued leaf = issue(serverNamed("leaf"), &between);
    write("my/leaf.p12", pkcs12(leaf, {&between, &root}, ""));
    const OpenedStore store;
    EXPECT_EQ(namesOfHelpers(firstIn(store.get()).get()), (Names{L"between", L"root"}));
}

TEST_F(EntryKey, firstCertificateWithEncryptedKeyIsUnreadableEntry) {
    const Issued root = issue(authorityNamed("root"));
    const Issued leaf = issue(serverNamed("leaf"), &root);
    write("my/leaf.pem", pem(leaf) + pem(root) + encryptedKeyPem(leaf, "secret"));
    const OpenedStore store;
    EXPECT_EQ(namesIn(store.get()), Names{L"leaf"});
    const HeldContext entry = firstIn(store.get());
    EXPECT_EQ(openssl::keyStateOf(entry.get()), KeyState::unreadable);
    EXPECT_EQ(openssl::privateKeyOf(entry.get()), nullptr);
    EXPECT_EQ(namesOfHelpers(entry.get()), Names{L"root"});
}

TEST_F(EntryKey, encryptedKeyInSeparateFileIsUnreadable) {
    const Issued one = issue(named("one"));
    write("my/one.pem", pem(one));
    write("my/one.key", encryptedKeyPem(one, "secret"));
    EXPECT_EQ(keyStateOfEntry(), KeyState::unreadable);
}

TEST_F(EntryKey, keyWithoutReadPermissionIsUnreadable) {
    const Issued one = issue(named("one"));
    write("my/one.pem", pem(one));
    write("my/one.key", keyPem(one));
    std::filesystem::permissions(path("my/one.key"), std::filesystem::perms::none);
    EXPECT_EXIT(
        {
            const bool held = becomeUnprivileged();
            _exit(held && namesInPersonalStore() == Names{L"one"} &&
                          keyStateOfEntry() == KeyState::unreadable
                      ? 0
                      : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace VexaSsl::test
