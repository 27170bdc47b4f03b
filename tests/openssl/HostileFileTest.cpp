// Hostile files in a certificate folder, and a process that is out of file descriptors.
#include "openssl/CertificateFolderTest.h"

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

// --- Iteration counts with which deriving a key takes an hour: a test that derives it runs into
// its time limit.

constexpr int hostileIterations = 2'000'000'000;

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

// An archive with an empty password and without a MAC, which would refuse the changed counts.
openssl::Pkcs12Pointer archiveOf(const Issued& issued) {
    constexpr int noMac = -1;
    return openssl::Pkcs12Pointer(PKCS12_create(
        "", "a name", issued.key.get(), issued.certificate.get(), nullptr, 0, 0, 1000, noMac, 0));
}

void setHostileIterationsOfCertificates(PKCS7* part) {
    if (PKCS7_type_is_encrypted(part)) {
        X509_ALGOR*& algorithm = part->d.encrypted->enc_data->algorithm;
        X509_ALGOR_free(algorithm);
        algorithm = derivedWith(hostileIterations);
    }
}

class HostileArchive : public CertificateFolderTest {
protected:
    // Changes one part of the archive in place.
    using Change = void (*)(PKCS7* part);

    static std::string changed(const Issued& issued, Change change) {
        const openssl::Pkcs12Pointer file = archiveOf(issued);
        STACK_OF(PKCS7)* parts = PKCS12_unpack_authsafes(file.get());
        for (int i = 0; i < sk_PKCS7_num(parts); ++i) {
            change(sk_PKCS7_value(parts, i));
        }
        EXPECT_EQ(PKCS12_pack_authsafes(file.get(), parts), 1);
        sk_PKCS7_pop_free(parts, PKCS7_free);
        return written(file.get());
    }
};

TEST_F(HostileArchive, archiveWithoutChecksumIsRead) {
    write("my/one.p12", changed(issue(named("one")), [](PKCS7*) {}));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(HostileArchive, iterationsOfTheCertificatesAreLimited) {
    write("my/one.p12", changed(issue(named("one")), setHostileIterationsOfCertificates));
    EXPECT_EQ(namesInPersonalStore(), Names{});
}

TEST_F(HostileArchive, iterationsOfTheKeyAreLimited) {
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
                  X509_ALGOR* hostile = derivedWith(hostileIterations);
                  X509_ALGOR_copy(algorithm, hostile);
                  X509_ALGOR_free(hostile);
              }
              ASN1_OCTET_STRING_free(part->d.data);
              part->d.data = ASN1_OCTET_STRING_new();
              ASN1_item_pack(bags, ASN1_ITEM_rptr(PKCS12_SAFEBAGS), &part->d.data);
              sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
          }));
    EXPECT_EQ(namesInPersonalStore(), Names{});
}

// PBMAC1, which OpenSSL supports since 3.4, has separate iterations.
TEST_F(HostileArchive, iterationsOfTheMacAreLimited) {
    const openssl::Pkcs12Pointer file = archiveOf(issue(named("one")));
    ASSERT_EQ(PKCS12_set_mac(file.get(), "", 0, nullptr, 0, 1, EVP_sha256()), 1);
    const X509_ALGOR* algorithm = nullptr;
    PKCS12_get0_mac(nullptr, &algorithm, nullptr, nullptr, file.get());
    X509_ALGOR* hostile = PKCS5_pbe2_set_iv(EVP_aes_256_cbc(), hostileIterations, nullptr, 0,
                                            nullptr, NID_hmacWithSHA256);
    hostile->algorithm = OBJ_nid2obj(NID_pbmac1);
    X509_ALGOR_copy(const_cast<X509_ALGOR*>(algorithm), hostile);
    X509_ALGOR_free(hostile);
    write("my/one.p12", written(file.get()));
    const auto unused = platform::unusedCertificateFiles();
    ASSERT_EQ(unused.size(), 1U);
    EXPECT_EQ(unused[0].fault, platform::CertificateFileFault::Damaged);
}

TEST_F(HostileArchive, hostileArchiveDoesNotAffectOtherFiles) {
    install("another.pem", issue(named("another")));
    write("my/one.p12", changed(issue(named("one")), setHostileIterationsOfCertificates));
    EXPECT_EQ(namesInPersonalStore(), Names{L"another"});
}

// --- Lack of descriptors.

// The process can open no further descriptor while it lives.
class ScopedDescriptorShortage {
public:
    ScopedDescriptorShortage() {
        getrlimit(RLIMIT_NOFILE, &former);
        const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(next);
        rlimit limit = former;
        limit.rlim_cur = static_cast<rlim_t>(next);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~ScopedDescriptorShortage() { setrlimit(RLIMIT_NOFILE, &former); }
    ScopedDescriptorShortage(const ScopedDescriptorShortage&) = delete;
    ScopedDescriptorShortage& operator=(const ScopedDescriptorShortage&) = delete;

private:
    rlimit former{};
};

#if defined(VEXASSL_UNDER_SANITIZER)
constexpr bool underSanitizer = true;
#else
constexpr bool underSanitizer = false;
#endif

class DescriptorShortage : public CertificateFolderTest {
protected:
    void SetUp() override {
        if (underSanitizer) {
            GTEST_SKIP() << "the sanitizer needs descriptors to check whether memory is mapped";
        }
    }
};

TEST_F(DescriptorShortage, trustAnchorsStayWithoutDescriptors) {
    const Issued authority = issue(authorityNamed("one"));
    write("root/one.pem", pem(authority));
    EXPECT_TRUE(hasAnchor(authority));
    {
        const ScopedDescriptorShortage shortage;
        EXPECT_TRUE(hasAnchor(authority));
    }
    EXPECT_TRUE(hasAnchor(authority));
}

TEST_F(DescriptorShortage, personalStoreStaysWithoutDescriptors) {
    install("one.pem", issue(named("one")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
    const ScopedDescriptorShortage shortage;
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(DescriptorShortage, changesAreSeenOnceDescriptorsAreAvailable) {
    install("one.pem", issue(named("before")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"before"});
    install("one.pem", issue(named("after")));
    {
        const ScopedDescriptorShortage shortage;
        EXPECT_EQ(namesInPersonalStore(), Names{L"before"});
    }
    EXPECT_EQ(namesInPersonalStore(), Names{L"after"});
}

// --- Names with characters that a DNS name cannot have.

TEST(DnsNameSyntax, dnsNameIsVisibleAsciiOrIgnored) {
    const TemporaryCertificateFolder folder;
    Recipe recipe = named("a b");
    recipe.dnsNames = {"n\xc3\xa4me.test", "with space.test", "xn--nme-qla.test", "\x7f.test"};
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
