// Files of a certificate folder that were made to harm, and a process that is short of descriptors.
#include "openssl/CertificateFolderTest.h"

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

// --- Counts that would keep the derivation of a key busy for an hour. A test that meets them all
// the same doesn't end before its time limit.

constexpr int unbearable = 2'000'000'000;

X509_ALGOR* derivedWith(int iterations) {
    return PKCS5_pbe_set(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, iterations, nullptr, 0);
}

std::string written(PKCS12* file) {
    unsigned char* bytes = nullptr;
    const int size = i2d_PKCS12(file, &bytes);
    EXPECT_GT(size, 0);
    const openssl::BytesPointer owner(bytes);
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

// An archive with an empty password and no checksum, so that nothing refuses the counts in it.
openssl::Pkcs12Pointer archiveOf(const Issued& issued, int ofKey, int ofCertificates) {
    constexpr int noChecksum = -1;
    return openssl::Pkcs12Pointer(PKCS12_create("", "a name", issued.key.get(),
                                                issued.certificate.get(), nullptr, ofKey,
                                                ofCertificates, 1000, noChecksum, 0));
}

class HostileArchive : public CertificateFolderTest {
protected:
    // The parts of the archive, to be changed; put back by the caller.
    using Change = void (*)(PKCS7* part);

    static std::string changed(const Issued& issued, Change change) {
        const openssl::Pkcs12Pointer file = archiveOf(issued, 0, 0);
        STACK_OF(PKCS7)* parts = PKCS12_unpack_authsafes(file.get());
        for (int i = 0; i < sk_PKCS7_num(parts); ++i) {
            change(sk_PKCS7_value(parts, i));
        }
        EXPECT_EQ(PKCS12_pack_authsafes(file.get(), parts), 1);
        sk_PKCS7_pop_free(parts, PKCS7_free);
        return written(file.get());
    }
};

TEST_F(HostileArchive, archiveWithoutAChecksumIsReadAsItIs) {
    write("my/one.p12", changed(issue(named("one")), [](PKCS7*) {}));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(HostileArchive, countOfTheCertificatesPartIsBounded) {
    write("my/one.p12", changed(issue(named("one")), [](PKCS7* part) {
              if (!PKCS7_type_is_encrypted(part)) {
                  return;
              }
              X509_ALGOR*& algorithm = part->d.encrypted->enc_data->algorithm;
              X509_ALGOR_free(algorithm);
              algorithm = derivedWith(unbearable);
          }));
    EXPECT_EQ(namesInPersonalStore(), Names{});
}

TEST_F(HostileArchive, countOfTheKeyIsBounded) {
    write("my/one.p12", changed(issue(named("one")), [](PKCS7* part) {
              if (!PKCS7_type_is_data(part)) {
                  return;
              }
              STACK_OF(PKCS12_SAFEBAG)* bags = PKCS12_unpack_p7data(part);
              for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
                  X509_SIG* sealed = const_cast<X509_SIG*>(
                      PKCS12_SAFEBAG_get0_pkcs8(sk_PKCS12_SAFEBAG_value(bags, i)));
                  X509_ALGOR* algorithm = nullptr;
                  X509_SIG_getm(sealed, &algorithm, nullptr);
                  X509_ALGOR* harmful = derivedWith(unbearable);
                  X509_ALGOR_copy(algorithm, harmful);
                  X509_ALGOR_free(harmful);
              }
              ASN1_OCTET_STRING_free(part->d.data);
              part->d.data = ASN1_OCTET_STRING_new();
              ASN1_item_pack(bags, ASN1_ITEM_rptr(PKCS12_SAFEBAGS), &part->d.data);
              sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
          }));
    EXPECT_EQ(namesInPersonalStore(), Names{});
}

TEST_F(HostileArchive, doesNotStopTheFilesBesideIt) {
    install("another.pem", issue(named("another")));
    write("my/one.p12", changed(issue(named("one")), [](PKCS7* part) {
              if (!PKCS7_type_is_encrypted(part)) {
                  return;
              }
              X509_ALGOR_free(part->d.encrypted->enc_data->algorithm);
              part->d.encrypted->enc_data->algorithm = derivedWith(unbearable);
          }));
    EXPECT_EQ(namesInPersonalStore(), Names{L"another"});
}

// --- Want of descriptors.

// As long as it lives the process can open nothing more.
class NoDescriptorLeft {
public:
    NoDescriptorLeft() {
        getrlimit(RLIMIT_NOFILE, &former);
        const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(next);
        rlimit limit = former;
        limit.rlim_cur = static_cast<rlim_t>(next);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~NoDescriptorLeft() { setrlimit(RLIMIT_NOFILE, &former); }
    NoDescriptorLeft(const NoDescriptorLeft&) = delete;
    NoDescriptorLeft& operator=(const NoDescriptorLeft&) = delete;

private:
    rlimit former{};
};

#if defined(VEXASSL_UNDER_SANITIZER)
constexpr bool underSanitizer = true;
#else
constexpr bool underSanitizer = false;
#endif

class ShortOfDescriptors : public CertificateFolderTest {
protected:
    void SetUp() override {
        if (underSanitizer) {
            GTEST_SKIP()
                << "the sanitizer itself needs descriptors, to look whether memory is there";
        }
    }

    static bool hasAnchor(const Issued& authority) {
        const auto anchors = openssl::trustStore();
        STACK_OF(X509_OBJECT)* objects = X509_STORE_get0_objects(anchors.get());
        for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
            const X509* anchor = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(objects, i));
            if (anchor && X509_cmp(anchor, authority.certificate.get()) == 0) {
                return true;
            }
        }
        return false;
    }
};

TEST_F(ShortOfDescriptors, trustAnchorsStay) {
    const Issued authority = issue(authorityNamed("one"));
    write("root/one.pem", pem(authority));
    EXPECT_TRUE(hasAnchor(authority));
    {
        const NoDescriptorLeft shortage;
        EXPECT_TRUE(hasAnchor(authority));
    }
    EXPECT_TRUE(hasAnchor(authority));
}

TEST_F(ShortOfDescriptors, personalStoreStays) {
    install("one.pem", issue(named("one")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
    const NoDescriptorLeft shortage;
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(ShortOfDescriptors, changesShowWhenItIsOver) {
    install("one.pem", issue(named("before")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"before"});
    install("one.pem", issue(named("behind")));
    {
        const NoDescriptorLeft shortage;
        EXPECT_EQ(namesInPersonalStore(), Names{L"before"});
    }
    EXPECT_EQ(namesInPersonalStore(), Names{L"behind"});
}

// --- Names that aren't what their kind allows.

TEST(DnsNameOfACertificate, isVisibleAsciiOrNone) {
    const TemporaryCertificateFolder folder;
    Recipe recipe = named("a b");
    recipe.dnsNames = {"n\xc3\xa4me.test", "with blank.test", "xn--nme-qla.test", "\x7f.test"};
    folder.install("one.pem", issue(recipe));
    const OpenedStore store;
    const HeldContext certificate = firstIn(store.get());
    wchar_t buffer[64];
    ASSERT_EQ(platform::CertGetNameStringW(certificate.get(), CERT_NAME_DNS_TYPE,
                                           CERT_NAME_SEARCH_ALL_NAMES_FLAG, nullptr, buffer, 64),
              18U);
    EXPECT_EQ(std::wstring(buffer), L"xn--nme-qla.test");
}

} // namespace
} // namespace VexaSsl::test
