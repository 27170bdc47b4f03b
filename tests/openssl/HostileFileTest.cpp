// Hostile files in a certificate folder, and a process that is out of file descriptors.
#include "openssl/CertificateFolderTest.h"

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

// --- An archive whose key takes an hour to derive: a test that derives it runs into its time
// limit.

class HostileArchive : public CertificateFolderTest {
protected:
    static std::string archiveWithIterations(int iterations) {
        const Issued one = issue(named("one"));
        const openssl::Pkcs12Pointer file(PKCS12_create(
            "", "a name", one.key.get(), one.certificate.get(), nullptr, 0, 0, 1000, 1000, 0));
        const ASN1_INTEGER* count = nullptr;
        PKCS12_get0_mac(nullptr, nullptr, nullptr, &count, file.get());
        ASN1_INTEGER_set(const_cast<ASN1_INTEGER*>(count), iterations);
        unsigned char* bytes = nullptr;
        const int size = i2d_PKCS12(file.get(), &bytes);
        const openssl::BytesPointer owner(bytes);
        return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)};
    }
};

TEST_F(HostileArchive, hostileArchiveDoesNotAffectOtherFiles) {
    install("another.pem", issue(named("another")));
    write("my/one.p12", archiveWithIterations(2'000'000'000));
    EXPECT_EQ(namesInPersonalStore(), Names{L"another"});
    write("my/one.p12", archiveWithIterations(1000));
    EXPECT_EQ(namesInPersonalStore(), (Names{L"another", L"one"}));
}

// --- A file that can be opened but not read.

using UnreadableFile = CertificateFolderTest;

TEST_F(UnreadableFile, formerContentStaysAfterReadError) {
    install("one.pem", issue(named("one")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
    remove("my/one.pem");
    std::filesystem::create_symlink("/proc/self/mem", path("my/one.pem")); // nothing at address 0
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
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
