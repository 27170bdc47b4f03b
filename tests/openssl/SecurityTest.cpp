// The security package where the contract leaves the outcome open: invalid handles, buffers of
// other shapes, key files, and OpenSSL's error queue.
#include "CertificateFolder.h"
#include "RawPeerState.h"
#include "contract/stores/StoreFixture.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"
#include "platform/openssl/tls/ContextCache.h"

#include <gtest/gtest.h>

#include <openssl/err.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <set>
#include <string>
#include <utility>

namespace VexaSsl::test {
namespace {

class Credentials : public ::testing::Test {
protected:
    const ScopedCertificateFolder folder;
};
using Packages = Credentials;
using PackageHandshake = Credentials;
using Handles = Credentials;

class Protection : public Credentials {
protected:
    Protection() { runHandshake(client, server); }

    Side client = Side::client();
    Side server = Side::server();
};

class ServerTrust : public Credentials {
protected:
    static SECURITY_STATUS validate(const std::string& certificate, const std::wstring& target) {
        Side client = Side::client(target);
        RawPeer server = RawPeer::server(certificate);
        runHandshake(client, server);
        return client.status();
    }
};

TEST_F(Credentials, credentialsHoldNoContextOfTheStore) {
    const HCERTSTORE store = platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                                     CERT_SYSTEM_STORE_LOCAL_MACHINE, L"MY");
    PCCERT_CONTEXT certificate = platform::CertFindCertificateInStore(
        store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W, L"case server-ecdsa", nullptr);
    ASSERT_NE(certificate, nullptr);
    CredHandle handle{};
    ASSERT_EQ(acquire(SECPKG_CRED_INBOUND, certificate, handle), SEC_E_OK);
    platform::CertFreeCertificateContext(certificate);
    EXPECT_TRUE(platform::CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    platform::FreeCredentialsHandle(&handle);
}

TEST_F(Credentials, unknownUseOrVersionIsRefused) {
    CredHandle handle{};
    EXPECT_EQ(acquire(3, nullptr, handle), SEC_E_UNSUPPORTED_FUNCTION);
    wchar_t package[] = L"Schannel";
    const auto acquireWith = [&](DWORD version, DWORD count, PCCERT_CONTEXT* certificates) {
        SCHANNEL_CRED request{};
        request.dwVersion = version;
        request.cCreds = count;
        request.paCred = certificates;
        return platform::AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND, nullptr,
                                                   &request, nullptr, nullptr, &handle, nullptr);
    };
    PCCERT_CONTEXT missing = nullptr;
    EXPECT_EQ(acquireWith(SCHANNEL_CRED_VERSION + 1, 0, nullptr), SEC_E_UNSUPPORTED_FUNCTION);
    EXPECT_EQ(acquireWith(SCHANNEL_CRED_VERSION, 1, nullptr), SEC_E_UNSUPPORTED_FUNCTION);
    EXPECT_EQ(acquireWith(SCHANNEL_CRED_VERSION, 1, &missing), SEC_E_UNSUPPORTED_FUNCTION);
    EXPECT_EQ(handle.dwLower, 0U);
}

TEST_F(Credentials, twoCertificatesAreRefused) {
    const HeldContext certificate = contextOf(issue(serverNamed("server")));
    PCCERT_CONTEXT certificates[] = {certificate.get(), certificate.get()};
    SCHANNEL_CRED request{};
    request.dwVersion = SCHANNEL_CRED_VERSION;
    request.cCreds = 2;
    request.paCred = certificates;
    wchar_t package[] = L"Schannel";
    CredHandle handle{};
    EXPECT_EQ(platform::AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND, nullptr,
                                                  &request, nullptr, nullptr, &handle, nullptr),
              SEC_E_UNSUPPORTED_FUNCTION);
}

TEST_F(Credentials, clientNeedsNoAuthenticationData) {
    wchar_t package[] = L"Schannel";
    CredHandle handle{};
    TimeStamp expiry{};
    EXPECT_EQ(platform::AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND, nullptr,
                                                  nullptr, nullptr, nullptr, &handle, &expiry),
              SEC_E_OK);
    EXPECT_EQ(expiry, std::numeric_limits<TimeStamp>::max());
    EXPECT_EQ(platform::FreeCredentialsHandle(&handle), SEC_E_OK);
}

TEST_F(Credentials, clientWithoutAuthenticationDataValidatesTheServer) {
    Side client = Side::client();
    Side server = Side::server("untrusted");
    wchar_t package[] = L"Schannel";
    platform::FreeCredentialsHandle(client.credential.get());
    ASSERT_EQ(platform::AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND, nullptr,
                                                  nullptr, nullptr, nullptr,
                                                  client.credential.get(), nullptr),
              SEC_E_OK);
    runHandshake(client, server);
    EXPECT_EQ(client.status(), SEC_E_UNTRUSTED_ROOT);
}

TEST_F(Credentials, leastRecentlyUsedSettingsAreEvicted) {
    const auto settingsOf = [](const HeldContext& certificate) {
        openssl::SslContextPointer settings;
        EXPECT_EQ(findSslContext(openssl::Role::server, certificate.get(), settings), SEC_E_OK);
        return settings;
    };
    const auto useOthers = [&](std::size_t count) {
        for (; count > 0; --count) {
            settingsOf(contextOf(issue(named("other"))));
        }
    };
    const HeldContext certificate = contextOf(issue(named("one")));
    const openssl::SslContextPointer settings = settingsOf(certificate);
    useOthers(openssl::contextCacheLimit - 1);
    EXPECT_EQ(settingsOf(certificate), settings);
    useOthers(openssl::contextCacheLimit - 1);
    EXPECT_EQ(settingsOf(certificate), settings);
    useOthers(openssl::contextCacheLimit);
    EXPECT_NE(settingsOf(certificate), settings);
}

TEST_F(Credentials, credentialsOfOneUseAreRefusedForTheOther) {
    Side client = Side::client();
    Side server = Side::server();
    std::swap(*client.credential.get(), *server.credential.get());
    EXPECT_EQ(client.step().status, SEC_E_NO_CREDENTIALS);
    EXPECT_EQ(server.step(Bytes{22}).status, SEC_E_NO_CREDENTIALS);
}

TEST_F(Packages, packageIsListedByBothNames) {
    ULONG count = 0;
    SecPkgInfoW* packages = nullptr;
    ASSERT_EQ(platform::EnumerateSecurityPackagesW(&count, &packages), SEC_E_OK);
    std::set<std::wstring> names;
    for (ULONG i = 0; i < count; ++i) {
        names.insert(packages[i].Name);
        EXPECT_EQ(packages[i].fCapabilities, 0x10493U);
        EXPECT_EQ(packages[i].wVersion, 1U);
        EXPECT_EQ(packages[i].wRPCID, 14U);
        EXPECT_EQ(packages[i].cbMaxToken, 0x6000U);
        EXPECT_STREQ(packages[i].Comment, L"TLS 1.2 by OpenSSL");
    }
    EXPECT_EQ(platform::FreeContextBuffer(packages), SEC_E_OK);
    const std::set<std::wstring> expected = {L"Schannel",
                                             L"Microsoft Unified Security Protocol Provider"};
    EXPECT_EQ(names, expected);
}

TEST_F(Packages, enumerationRefusesNullOutput) {
    ULONG count = 0;
    SecPkgInfoW* packages = nullptr;
    EXPECT_EQ(platform::EnumerateSecurityPackagesW(&count, nullptr), SEC_E_INVALID_TOKEN);
    EXPECT_EQ(platform::EnumerateSecurityPackagesW(nullptr, &packages), SEC_E_INVALID_TOKEN);
}

TEST_F(Handles, arbitraryHandleIsInvalid) {
    expectVoidContext({0, 0});
    expectVoidContext({1, 2});
    expectVoidContext({~ULONG_PTR{0}, ~ULONG_PTR{0}});
    expectVoidContext({reinterpret_cast<ULONG_PTR>(this), 0});
    EXPECT_EQ(platform::DeleteSecurityContext(nullptr), SEC_E_INVALID_HANDLE);
    EXPECT_EQ(platform::FreeCredentialsHandle(nullptr), SEC_E_INVALID_HANDLE);
}

TEST_F(Handles, handleWithChangedSecondWordIsInvalid) {
    Side client = Side::client();
    client.step();
    CtxtHandle changed = *client.context();
    changed.dwUpper ^= 1;
    expectVoidContext(changed);
}

TEST_F(Handles, credentialHandleIsNoContext) {
    Side client = Side::client();
    expectVoidContext(*client.credential.get());
}

TEST_F(Handles, handleOfFreedCredentialsIsInvalid) {
    Side client = Side::client();
    const CredHandle stale = *client.credential.get();
    ASSERT_EQ(platform::FreeCredentialsHandle(client.credential.get()), SEC_E_OK);
    EXPECT_EQ(platform::FreeCredentialsHandle(client.credential.get()), SEC_E_INVALID_HANDLE);
    EXPECT_EQ(client.step().status, SEC_E_INVALID_HANDLE);
    EXPECT_EQ(client.credential.get()->dwLower, stale.dwLower);
    *client.credential.get() = {};
}

TEST_F(Handles, clientContextIsInvalidForServer) {
    Side client = Side::client();
    client.step();
    Side server = Side::server();
    server.step(Bytes{22});
    *server.context() = *client.context();
    EXPECT_EQ(server.step(Bytes{22}).status, SEC_E_INVALID_HANDLE);
    *server.context() = {};
}

TEST_F(Handles, unknownAttributesAreUnsupported) {
    Side client = Side::client();
    Side server = Side::server();
    runHandshake(client, server);
    Bytes place(256);
    EXPECT_EQ(platform::QueryContextAttributesW(client.context(), 5, place.data()),
              SEC_E_UNSUPPORTED_FUNCTION);
    EXPECT_EQ(
        platform::QueryContextAttributesW(client.context(), SECPKG_ATTR_STREAM_SIZES, nullptr),
        SEC_E_INVALID_TOKEN);
}

TEST_F(Handles, certificateIsKnownBeforeTheHandshakeEnds) {
    Side client = Side::client();
    Side server = Side::server();
    ASSERT_EQ(client.receive(server.receive(client.step().token).token).status,
              SEC_I_CONTINUE_NEEDED);
    PCCERT_CONTEXT certificate = nullptr;
    EXPECT_EQ(platform::QueryContextAttributesW(client.context(), SECPKG_ATTR_REMOTE_CERT_CONTEXT,
                                                &certificate),
              SEC_E_OK);
    EXPECT_TRUE(HeldContext(certificate));
    SecPkgContext_StreamSizes sizes{};
    EXPECT_EQ(platform::QueryContextAttributesW(client.context(), SECPKG_ATTR_STREAM_SIZES, &sizes),
              SEC_E_INVALID_HANDLE);
}

TEST_F(Handles, attributesDescribeTheConnection) {
    Side client = Side::client();
    PeerSettings settings;
    settings.suites = "ECDHE-ECDSA-AES128-GCM-SHA256";
    RawPeer server = RawPeer::server("server-ecdsa", settings);
    runHandshake(client, server);
    SecPkgContext_CipherInfo info{};
    ASSERT_EQ(platform::QueryContextAttributesW(client.context(), SECPKG_ATTR_CIPHER_INFO, &info),
              SEC_E_OK);
    EXPECT_EQ(info.dwVersion, SECPKGCONTEXT_CIPHERINFO_V1);
    EXPECT_EQ(info.dwProtocol, 0x303U);
    EXPECT_EQ(info.dwCipherSuite, 0xC02BU);
    EXPECT_EQ(info.dwBaseCipherSuite, 0xC02BU);
    std::wstring suite = L"TLS_ECDHE_ECDSA_WITH_AES_128_GCM_SHA256";
    suite.resize(SZ_ALG_MAX_SIZE);
    EXPECT_EQ(std::wstring(info.szCipherSuite, SZ_ALG_MAX_SIZE), suite);
    EXPECT_EQ(client.sizes().cBuffers, 4U);
    EXPECT_EQ(client.sizes().cbBlockSize, 1U);
}

TEST_F(Handles, queuedErrorsAreIgnoredAndCleared) {
    ERR_raise(ERR_LIB_USER, 1);
    Side client = Side::client();
    Side server = Side::server("untrusted");
    runHandshake(client, server);
    EXPECT_EQ(client.status(), SEC_E_UNTRUSTED_ROOT);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST_F(Protection, emptyMessageIsRefusedAndHarmsNothing) {
    EXPECT_EQ(client.protectStatus({}), SEC_E_UNSUPPORTED_FUNCTION);
    EXPECT_EQ(server.openAll(client.protect("still fine")), "still fine");
}

TEST_F(Protection, largerHeaderAndTrailerAreShortened) {
    Bytes header(100);
    Bytes data = bytesOf("apart");
    Bytes trailer(100);
    SecBuffer entries[4] = {};
    entries[0] = {100, SECBUFFER_STREAM_HEADER, header.data()};
    entries[1] = {5, SECBUFFER_DATA, data.data()};
    entries[2] = {100, SECBUFFER_STREAM_TRAILER, trailer.data()};
    SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
    ASSERT_EQ(platform::EncryptMessage(client.context(), 0, &message, 0), SEC_E_OK);
    EXPECT_EQ(entries[0].cbBuffer, 13U);
    EXPECT_EQ(entries[2].cbBuffer, 16U);
    EXPECT_EQ(server.openAll(part(header, 0, 13) + data + part(trailer, 0, 16)), "apart");
}

TEST_F(Protection, tooSmallBuffersAreRefusedAndHarmNothing) {
    for (const ULONG missingFrom : {0U, 2U}) {
        Bytes memory(100);
        SecBuffer entries[4] = {};
        entries[0] = {13, SECBUFFER_STREAM_HEADER, memory.data()};
        entries[1] = {5, SECBUFFER_DATA, memory.data() + 13};
        entries[2] = {16, SECBUFFER_STREAM_TRAILER, memory.data() + 18};
        --entries[missingFrom].cbBuffer;
        SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
        EXPECT_EQ(platform::EncryptMessage(client.context(), 0, &message, 0),
                  SEC_E_BUFFER_TOO_SMALL);
    }
    EXPECT_EQ(server.openAll(client.protect("still fine")), "still fine");
}

TEST_F(Protection, missingEntryIsRefused) {
    Bytes memory(100);
    SecBuffer entries[2] = {};
    entries[0] = {13, SECBUFFER_STREAM_HEADER, memory.data()};
    entries[1] = {5, SECBUFFER_DATA, memory.data() + 13};
    SecBufferDesc message{SECBUFFER_VERSION, 2, entries};
    EXPECT_EQ(platform::EncryptMessage(client.context(), 0, &message, 0), SEC_E_INVALID_TOKEN);
    EXPECT_EQ(platform::EncryptMessage(client.context(), 0, nullptr, 0), SEC_E_INVALID_TOKEN);
}

TEST_F(Protection, openedRecordIsTakenApart) {
    Bytes record = client.protect("data");
    SecBuffer entries[4] = {};
    entries[0] = {static_cast<ULONG>(record.size()), SECBUFFER_DATA, record.data()};
    SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
    ASSERT_EQ(platform::DecryptMessage(server.context(), &message, 0, nullptr), SEC_E_OK);
    unsigned char* at = record.data();
    for (const ULONG size : {13U, 4U, 16U}) {
        const SecBuffer& entry = entries[at == record.data() ? 0 : size == 4 ? 1 : 2];
        EXPECT_EQ(entry.pvBuffer, at);
        EXPECT_EQ(entry.cbBuffer, size);
        at += size;
    }
    EXPECT_EQ(entries[3].BufferType, SECBUFFER_EMPTY);
}

TEST_F(Protection, openingNullMessageIsRefused) {
    EXPECT_EQ(platform::DecryptMessage(server.context(), nullptr, 0, nullptr), SEC_E_INVALID_TOKEN);
}

TEST_F(PackageHandshake, attributesReportWhatWasRequestedAndHolds) {
    constexpr ULONG delegation = 1; // ISC_REQ_DELEGATE, which is never in effect
    Side client = Side::client(L"localhost", "", clientRequirements | delegation);
    Side server = Side::server();
    const Step hello = client.step();
    EXPECT_EQ(hello.attributes, ISC_REQ_STREAM | ISC_REQ_EXTENDED_ERROR | ISC_REQ_ALLOCATE_MEMORY |
                                    ISC_REQ_USE_SUPPLIED_CREDS);
    const Bytes answer = client.receive(server.receive(hello.token).token).token;
    const Step last = server.receive(answer);
    EXPECT_EQ(last.attributes, serverRequirements);
    EXPECT_EQ(client.receive(last.token).attributes, clientRequirements);
}

TEST_F(PackageHandshake, contextNeverExpires) {
    Side client = Side::client();
    EXPECT_EQ(client.step().expiry, std::numeric_limits<TimeStamp>::max());
}

TEST_F(PackageHandshake, everyFragmentLengthIsKept) {
    for (std::uint8_t code = TLSEXT_max_fragment_length_512;
         code <= TLSEXT_max_fragment_length_4096; ++code) {
        RawPeer client = RawPeer::client();
        SSL_set_tlsext_max_fragment_length(client.inside().ssl.get(), code);
        Side server = Side::server();
        runHandshake(client, server);
        EXPECT_EQ(server.sizes().cbMaximumMessage, 256U << code);
    }
}

TEST_F(PackageHandshake, repeatedTokenMayNotBeShorter) {
    Side client = Side::client(L"localhost", "", clientRequirements & ~ISC_REQ_USE_SUPPLIED_CREDS);
    Side server = Side::server("server-ecdsa", serverRequirements | ASC_REQ_MUTUAL_AUTH);
    const Bytes flight = server.receive(client.step().token).token;
    ASSERT_EQ(client.step(flight).status, SEC_I_INCOMPLETE_CREDENTIALS);
    EXPECT_EQ(client.step(part(flight, 0, recordSizes(flight)[0])).status, SEC_E_INVALID_TOKEN);
}

TEST_F(PackageHandshake, tokensInCallersMemoryAreRefused) {
    Side client = Side::client(L"localhost", "", clientRequirements & ~ISC_REQ_ALLOCATE_MEMORY);
    EXPECT_EQ(client.step().status, SEC_E_UNSUPPORTED_FUNCTION);
}

TEST_F(ServerTrust, selfSignedServerAmongTheAnchorsIsTrusted) {
    const std::filesystem::path own =
        std::filesystem::temp_directory_path() / ("vexassl-anchors-" + std::to_string(getpid()));
    std::filesystem::create_directories(own / "root");
    std::filesystem::copy_file(certificateFile("self-signed", "cert"),
                               own / "root" / "self-signed.pem",
                               std::filesystem::copy_options::overwrite_existing);
    {
        const ScopedCertificateFolder anchors(own);
        EXPECT_EQ(validate("self-signed", L"localhost"), SEC_E_OK);
        EXPECT_EQ(validate("server-ecdsa", L"localhost"), SEC_E_UNTRUSTED_ROOT);
    }
    std::filesystem::remove_all(own);
}

// A personal store with a key that cannot be used.
class FaultyKeys : public ::testing::Test {
protected:
    FaultyKeys() { std::filesystem::create_directories(own / "my"); }
    ~FaultyKeys() override { std::filesystem::remove_all(own); }

    // Copies the certificate and the key of a test case as two files.
    void install(const std::string& name) const {
        std::filesystem::copy_file(certificateFile(name, "cert"), own / "my" / "only.pem",
                                   std::filesystem::copy_options::overwrite_existing);
        std::filesystem::copy_file(certificateFile(name, "key"), own / "my" / "only.key",
                                   std::filesystem::copy_options::overwrite_existing);
    }

    // Returns the status of acquiring credentials for the store's only certificate.
    static SECURITY_STATUS acquireOnly(const std::filesystem::path& root) {
        const ScopedCertificateFolder folder(root);
        const HCERTSTORE store = platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                                         CERT_SYSTEM_STORE_LOCAL_MACHINE, L"MY");
        const PCCERT_CONTEXT certificate = platform::CertEnumCertificatesInStore(store, nullptr);
        EXPECT_NE(certificate, nullptr);
        CredHandle handle{};
        const SECURITY_STATUS status =
            certificate ? acquire(SECPKG_CRED_INBOUND, certificate, handle) : SEC_E_OK;
        if (status == SEC_E_OK) {
            platform::FreeCredentialsHandle(&handle);
        }
        platform::CertFreeCertificateContext(certificate);
        platform::CertCloseStore(store, 0);
        return status;
    }

    const std::filesystem::path own =
        std::filesystem::temp_directory_path() / ("vexassl-keys-" + std::to_string(getpid()));
};

TEST_F(FaultyKeys, encryptedKeyIsUnreadableWithoutPrompt) {
    install("encrypted-key");
    EXPECT_EQ(acquireOnly(own), SEC_E_UNKNOWN_CREDENTIALS);
}

TEST_F(FaultyKeys, tooWeakKeyIsAlgorithmMismatch) {
    install("weak-key");
    EXPECT_EQ(acquireOnly(own), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(FaultyKeys, certificateWithoutKeyIsNoCredential) {
    const std::string encoded = der(issue(named("alone")));
    const OpenedStore store(platform::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    ASSERT_TRUE(platform::CertAddEncodedCertificateToStore(
        store.get(), X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(encoded.data()),
        static_cast<DWORD>(encoded.size()), CERT_STORE_ADD_ALWAYS, nullptr));
    const HeldContext alone = firstIn(store.get());
    CredHandle handle{};
    EXPECT_EQ(acquire(SECPKG_CRED_INBOUND, alone.get(), handle), SEC_E_NO_CREDENTIALS);
    EXPECT_EQ(acquire(SECPKG_CRED_OUTBOUND, alone.get(), handle), SEC_E_NO_CREDENTIALS);
}

TEST_F(FaultyKeys, keyThatCannotSignIsUnknown) {
    const Issued authority = issue(authorityNamed("authority"));
    Issued exchange = issue(named("exchange"), &authority);
    exchange.key.reset(EVP_PKEY_Q_keygen(nullptr, nullptr, "X25519"));
    X509_set_pubkey(exchange.certificate.get(), exchange.key.get());
    ASSERT_GT(X509_sign(exchange.certificate.get(), authority.key.get(), EVP_sha256()), 0);
    const HeldContext certificate = contextOf(exchange);
    CredHandle handle{};
    EXPECT_EQ(acquire(SECPKG_CRED_INBOUND, certificate.get(), handle), SEC_E_UNKNOWN_CREDENTIALS);
}

TEST_F(FaultyKeys, separateKeyIsAccepted) {
    install("server-ecdsa");
    EXPECT_EQ(acquireOnly(own), SEC_E_OK);
}

TEST_F(FaultyKeys, changedKeyIsSeenByTheNextConnection) {
    install("server-ecdsa");
    ASSERT_EQ(acquireOnly(own), SEC_E_OK);
    install("encrypted-key");
    EXPECT_EQ(acquireOnly(own), SEC_E_UNKNOWN_CREDENTIALS);
}

// Each change of the file is another certificate to the platform; there are more than its cache
// holds.
TEST_F(FaultyKeys, credentialOutlivesTheCacheOfItsSettings) {
    std::filesystem::copy(certificatesFolder() / "root", own / "root");
    std::filesystem::copy_file(certificatesFolder() / "my" / "server-ecdsa.pem",
                               own / "my" / "server-ecdsa.pem");
    const ScopedCertificateFolder folder(own);
    Side server = Side::server();
    std::filesystem::remove(own / "my" / "server-ecdsa.pem");
    for (int change = 0; change < 80; ++change) {
        install("server-ecdsa");
        ASSERT_EQ(acquireOnly(own), SEC_E_OK) << "change " << change;
        std::filesystem::remove(own / "my" / "only.pem");
        std::filesystem::remove(own / "my" / "only.key");
    }
    Side client = Side::client();
    runHandshake(client, server);
    ASSERT_TRUE(client.established());
    EXPECT_EQ(server.openAll(client.protect("still served")), "still served");
}

} // namespace
} // namespace VexaSsl::test
