// What is kept between openings of the store, and when it is read anew.
#include "contract/certificates/StoreFixture.h"

#include <atomic>
#include <thread>

namespace VexaSsl::testing {
namespace {

using Names = std::vector<std::wstring>;

class StoreCache : public CertificateFolderTest {};

// The parsed certificate behind the first entry, alone as long as it is kept.
portable::X509Pointer firstCertificate() {
    const OpenedStore store;
    return portable::sharedReference(portable::x509Of(firstIn(store.get()).get()));
}

TEST_F(StoreCache, unchangedFilesAreParsedOnce) {
    install("one.pem", issue(named("one")));
    EXPECT_EQ(firstCertificate().get(), firstCertificate().get());
}

TEST_F(StoreCache, fileWrittenAnewWithTheSameBytesIsNotParsedAgain) {
    const Issued one = issue(named("one"));
    install("one.pem", one);
    const portable::X509Pointer before = firstCertificate();
    install("one.pem", one);
    EXPECT_EQ(before.get(), firstCertificate().get());
}

TEST_F(StoreCache, changedFileIsReadAnew) {
    install("one.pem", issue(named("before")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"before"});
    install("one.pem", issue(named("behind")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"behind"});
}

TEST_F(StoreCache, changeInPlaceOfTheSameSizeIsNoticedAtOnce) {
    const Issued one = issue(named("one"));
    install("one.pem", one);
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
    // The certificate's first letter behind the armour spoils its encoding.
    const std::string content = pem(one) + keyPem(one);
    FILE* file = fopen(path("my/one.pem").c_str(), "r+");
    ASSERT_NE(file, nullptr);
    fseek(file, static_cast<long>(content.find('\n')) + 1, SEEK_SET);
    fputc('A', file);
    fclose(file);
    EXPECT_EQ(namesInPersonalStore(), Names{});
}

TEST_F(StoreCache, changeOfOneFileLeavesTheOthersParsed) {
    install("a.pem", issue(named("stays")));
    install("b.pem", issue(named("before")));
    const portable::X509Pointer before = firstCertificate();
    install("b.pem", issue(named("behind")));
    EXPECT_EQ(namesInPersonalStore(), (Names{L"stays", L"behind"}));
    EXPECT_EQ(before.get(), firstCertificate().get());
}

TEST_F(StoreCache, removedFileIsGone) {
    install("a.pem", issue(named("one")));
    install("b.pem", issue(named("two")));
    EXPECT_EQ(namesInPersonalStore(), (Names{L"one", L"two"}));
    remove("my/a.pem");
    EXPECT_EQ(namesInPersonalStore(), Names{L"two"});
}

TEST_F(StoreCache, removedFileIsNotKept) {
    install("a.pem", issue(named("one")));
    const portable::X509Pointer before = firstCertificate();
    EXPECT_EQ(X509_up_ref(before.get()), 1);
    const portable::X509Pointer second(before.get());
    remove("my/a.pem");
    EXPECT_EQ(namesInPersonalStore(), Names{});
    install("a.pem", issue(named("one")));
    EXPECT_NE(before.get(), firstCertificate().get());
}

TEST_F(StoreCache, keyThatComesLaterMakesAnEntry) {
    const Issued one = issue(named("one"));
    write("my/one.pem", pem(one));
    EXPECT_EQ(namesInPersonalStore(), Names{});
    write("my/one.key", keyPem(one));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(StoreCache, passwordThatComesLaterOpensTheArchive) {
    write("my/one.p12", pkcs12(issue(named("one")), {}, "secret"));
    EXPECT_EQ(namesInPersonalStore(), Names{});
    write("my/one.p12.password", "secret");
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(StoreCache, folderThatComesLaterIsRead) {
    std::filesystem::remove(path("my"));
    EXPECT_EQ(namesInPersonalStore(), Names{});
    std::filesystem::create_directory(path("my"));
    install("one.pem", issue(named("one")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(StoreCache, openStoreKeepsWhatItHasRead) {
    install("one.pem", issue(named("before")));
    const OpenedStore store;
    install("one.pem", issue(named("behind")));
    remove("my/one.pem");
    EXPECT_EQ(namesIn(store.get()), Names{L"before"});
}

TEST_F(StoreCache, anotherFolderHasOtherEntries) {
    install("one.pem", issue(named("here")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"here"});
    std::filesystem::create_directories(path("other/my"));
    const Issued there = issue(named("there"));
    write("other/my/one.pem", pem(there) + keyPem(there));
    platform::setCertificateFolder(path("other"));
    EXPECT_EQ(namesInPersonalStore(), Names{L"there"});
    platform::setCertificateFolder(folder);
    EXPECT_EQ(namesInPersonalStore(), Names{L"here"});
}

TEST_F(StoreCache, manyThreadsSeeOneOrTheOtherContentWhileFilesChange) {
    const Issued before = issue(named("before"));
    const Issued behind = issue(named("behind"));
    install("one.pem", before);
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&wrong] {
            for (int round = 0; round < 50; ++round) {
                const Names names = namesInPersonalStore();
                if (names != Names{L"before"} && names != Names{L"behind"})
                    ++wrong;
                if (!portable::trustStore())
                    ++wrong;
            }
        });
    for (int round = 0; round < 50; ++round) {
        install("one.pem", round % 2 ? before : behind);
        write("root/one.pem", pem(round % 2 ? before : behind));
    }
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(wrong, 0);
}

class TrustStore : public CertificateFolderTest {};

TEST_F(TrustStore, isTheSameObjectWhileNothingChanges) {
    write("root/one.pem", pem(issue(authorityNamed("one"))));
    EXPECT_EQ(portable::trustStore(), portable::trustStore());
}

TEST_F(TrustStore, isAnotherObjectAfterAChange) {
    const auto before = portable::trustStore();
    write("root/one.pem", pem(issue(authorityNamed("one"))));
    EXPECT_NE(before, portable::trustStore());
}

bool hasAnchor(const Issued& authority) {
    STACK_OF(X509_OBJECT)* objects = X509_STORE_get0_objects(portable::trustStore().get());
    for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
        const X509* anchor = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(objects, i));
        if (anchor && X509_cmp(anchor, authority.certificate.get()) == 0)
            return true;
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
    EXPECT_NE(portable::trustStore(), nullptr);
}

} // namespace
} // namespace VexaSsl::testing
