// Chains of certificates in files, the strength that TLS requires, and null arguments.
#include "platform/openssl/stores/Chain.h"
#include "contract/stores/ChainFixture.h"
#include "openssl/CertificateFolderTest.h"

#include <openssl/err.h>
#include <openssl/pem.h>

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

class ChainPolicy : public CertificateFolderTest {
protected:
    ChainPolicy() { write("root/root.pem", pem(root)); }

    static Verdict verdictIgnoring(DWORD checks, const HeldChain& chain) {
        SSL_EXTRA_CERT_CHAIN_POLICY_PARA extra{};
        extra.fdwChecks = checks;
        return verdictOn(chain, &extra);
    }
    // name may be null.
    static Verdict verdictFor(DWORD peer, std::wstring* name, const HeldChain& chain) {
        SSL_EXTRA_CERT_CHAIN_POLICY_PARA extra{};
        extra.dwAuthType = peer;
        extra.pwszServerName = name ? name->data() : nullptr;
        return verdictOn(chain, &extra);
    }

    const Issued root = issue(authorityNamed("root"));
    const Issued between = issue(authorityNamed("between"), &root);
};
using CertGetCertificateChain = ChainPolicy;

// With a key that OpenSSL can't decode, signed by the issuer.
Issued withUndecodableKey(Issued issued, const Issued& issuer) {
    X509* certificate = issued.certificate.get();
    auto* point = static_cast<unsigned char*>(OPENSSL_memdup("\xFF", 1));
    EXPECT_EQ(X509_PUBKEY_set0_param(X509_get_X509_PUBKEY(certificate),
                                     OBJ_nid2obj(NID_X9_62_id_ecPublicKey), V_ASN1_OBJECT,
                                     OBJ_nid2obj(NID_X9_62_prime256v1), point, 1),
              1);
    EXPECT_GT(X509_sign(certificate, issuer.key.get(), EVP_sha256()), 0);
    return issued;
}

TEST_F(ChainPolicy, helpersOfTheFileCompleteTheChain) {
    install("leaf.pem", issue(serverNamed("leaf"), &between), {&between});
    const OpenedStore store;
    EXPECT_EQ(verdictOn(chainOf(firstIn(store.get()).get(), serverUsage)), trusted);
}

TEST_F(ChainPolicy, certificatesOfOtherFilesDoNotCompleteTheChain) {
    install("a.pem", issue(serverNamed("linked"), &between), {&between});
    install("between.pem", between);
    install("b.pem", issue(serverNamed("alone"), &between));
    const OpenedStore store;
    const HeldContext alone = findSubject(store.get(), L"alone");
    EXPECT_EQ(verdictOn(chainOf(alone.get(), serverUsage)), (Verdict{CERT_E_CHAINING, 0}));
}

TEST_F(ChainPolicy, eachFaultIsIgnoredByItsFlagOnly) {
    constexpr DWORD noFlag = 0;
    constexpr DWORD ignoreName = 0x1000;
    constexpr DWORD undefinedFlag = 1;
    const Issued stranger = issue(authorityNamed("stranger"));
    const Issued server = issue(serverNamed("server"), &root);
    Recipe insideOnly = authorityNamed("inside only");
    insideOnly.permittedDnsName = "inside.test";
    const Issued inside = issue(insideOnly, &root);
    Recipe critical = serverNamed("leaf");
    critical.criticalExtension = "1.2.3.4.5";
    Recipe expired = serverNamed("leaf");
    expired.firstDay = -20;
    expired.lastDay = -10;
    struct Fault {
        Issued leaf;
        const Issued* sent;
        const char* usage;
        std::int64_t error;
        DWORD flag;
    };
    const Fault faults[] = {
        {issue(serverNamed("leaf")), nullptr, serverUsage, CERT_E_UNTRUSTEDROOT,
         SECURITY_FLAG_IGNORE_UNKNOWN_CA},
        {issue(serverNamed("leaf"), &stranger), nullptr, serverUsage, CERT_E_CHAINING,
         SECURITY_FLAG_IGNORE_UNKNOWN_CA},
        {withBrokenSignature(issue(serverNamed("leaf"), &root)), nullptr, serverUsage,
         TRUST_E_CERT_SIGNATURE, noFlag},
        {issue(serverNamed("leaf"), &server), &server, serverUsage, TRUST_E_BASIC_CONSTRAINTS,
         noFlag},
        {issue(serverNamed("leaf"), &inside), &inside, serverUsage, CERT_E_INVALID_NAME, noFlag},
        {issue(critical, &root), nullptr, serverUsage, CERT_E_CRITICAL, noFlag},
        {issue(expired, &root), nullptr, serverUsage, CERT_E_EXPIRED,
         SECURITY_FLAG_IGNORE_CERT_DATE_INVALID},
        {issue(serverNamed("leaf"), &root), nullptr, clientUsage, CERT_E_WRONG_USAGE,
         SECURITY_FLAG_IGNORE_WRONG_USAGE},
    };
    for (const Fault& fault : faults) {
        const HeldContext leaf = contextOf(fault.leaf, fault.sent ? std::vector{fault.sent}
                                                                  : std::vector<const Issued*>{});
        const HeldChain chain = chainOf(leaf.get(), fault.usage);
        for (const DWORD flag :
             {SECURITY_FLAG_IGNORE_UNKNOWN_CA, SECURITY_FLAG_IGNORE_CERT_DATE_INVALID,
              SECURITY_FLAG_IGNORE_WRONG_USAGE, ignoreName, undefinedFlag}) {
            const DWORD error = flag == fault.flag ? 0 : static_cast<DWORD>(fault.error);
            EXPECT_EQ(verdictIgnoring(flag, chain).error, error) << std::hex << flag;
        }
    }
}

TEST_F(ChainPolicy, nameIsCheckedForServersOnly) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf.test"), &root));
    const HeldChain chain = chainOf(leaf.get(), serverUsage);
    std::wstring other = L"other.test";
    EXPECT_EQ(verdictFor(AUTHTYPE_SERVER, &other, chain), (Verdict{CERT_E_CN_NO_MATCH, 0}));
    EXPECT_EQ(verdictFor(AUTHTYPE_SERVER, nullptr, chain), trusted);
    constexpr DWORD client = 1;
    EXPECT_EQ(verdictFor(client, &other, chain), trusted);
}

TEST_F(ChainPolicy, addressIsNotComparedWithDnsNames) {
    const HeldContext leaf = contextOf(issue(serverNamed("127.0.0.1"), &root));
    std::wstring address = L"127.0.0.1";
    EXPECT_EQ(verdictFor(AUTHTYPE_SERVER, &address, chainOf(leaf.get(), serverUsage)),
              (Verdict{CERT_E_CN_NO_MATCH, 0}));
}

TEST_F(ChainPolicy, intermediateForServersIssuesNoClients) {
    Recipe serversOnly = authorityNamed("between");
    serversOnly.usages = "serverAuth";
    Recipe client = named("leaf");
    client.usages = "clientAuth";
    const Issued issuer = issue(serversOnly, &root);
    EXPECT_EQ(verdictOf(issue(client, &issuer), {&issuer}, clientUsage),
              (Verdict{CERT_E_WRONG_USAGE, 1}));
}

// A client's common name counts as a DNS name in addition to the alternative names, a server's
// doesn't.
TEST_F(ChainPolicy, commonNameOutsideTheConstraintsIsRefusedForClients) {
    Recipe insideOnly = authorityNamed("inside only");
    insideOnly.permittedDnsName = "inside.test";
    const Issued issuer = issue(insideOnly, &root);
    Recipe recipe = named("www.outside.test");
    recipe.dnsNames = {"www.inside.test"};
    const Issued leaf = issue(recipe, &issuer);
    EXPECT_EQ(verdictOf(leaf, {&issuer}, serverUsage), trusted);
    for (const char* usage : {clientUsage, ""}) {
        EXPECT_EQ(verdictOf(leaf, {&issuer}, usage).error, static_cast<DWORD>(CERT_E_INVALID_NAME));
    }
}

TEST_F(ChainPolicy, anchorRejectedForServersTrustsNoServer) {
    const Issued limited = issue(authorityNamed("limited"));
    X509_add1_reject_object(limited.certificate.get(), OBJ_nid2obj(NID_server_auth));
    const openssl::BioPointer bio(BIO_new(BIO_s_mem()));
    ASSERT_EQ(PEM_write_bio_X509_AUX(bio.get(), limited.certificate.get()), 1);
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    write("root/limited.pem", {text, static_cast<std::size_t>(size)});
    const Issued leaf = issue(named("leaf"), &limited);
    EXPECT_EQ(verdictOf(leaf, {}, serverUsage).error, static_cast<DWORD>(CERT_E_UNTRUSTEDROOT));
    EXPECT_EQ(verdictOf(leaf, {}, clientUsage), trusted);
}

TEST_F(ChainPolicy, keyTooWeakForTlsIsRefused) {
    Recipe weak = serverNamed("leaf");
    weak.rsaBits = 1024;
    EXPECT_EQ(verdictOf(issue(weak, &root)), (Verdict{TRUST_E_CERT_SIGNATURE, 0}));
    weak.rsaBits = 2048;
    EXPECT_EQ(verdictOf(issue(weak, &root)), trusted);
}

TEST_F(ChainPolicy, authorityWithKeyTooWeakForTlsIsAtFault) {
    Recipe weak = authorityNamed("weak");
    weak.rsaBits = 1024;
    const Issued authority = issue(weak, &root);
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &authority), {&authority}),
              (Verdict{TRUST_E_CERT_SIGNATURE, 1}));
}

TEST_F(CertGetCertificateChain, structuresOfTheChainHaveTheirSizes) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &root));
    const HeldChain chain = chainOf(leaf.get(), serverUsage);
    EXPECT_EQ(chain->cbSize, sizeof *chain);
    EXPECT_EQ(chain->rgpChain[0]->cbSize, sizeof **chain->rgpChain);
    for (DWORD i = 0; i < chain->rgpChain[0]->cElement; ++i) {
        const CERT_CHAIN_ELEMENT& element = *chain->rgpChain[0]->rgpElement[i];
        EXPECT_EQ(element.cbSize, sizeof element);
        EXPECT_EQ(element.TrustStatus.dwInfoStatus, 0U);
    }
}

TEST_F(CertGetCertificateChain, keyThatCannotBeDecodedIsTheFaultOfItsCertificate) {
    const Issued leaf = withUndecodableKey(issue(serverNamed("leaf"), &root), root);
    const OpenedStore store(openMemoryStore());
    const HeldContext context = addTo(store.get(), der(leaf));
    const HeldChain chain = chainOf(context.get(), serverUsage);
    ASSERT_TRUE(chain);
    EXPECT_EQ(chain->rgpChain[0]->rgpElement[0]->TrustStatus.dwErrorStatus,
              CERT_TRUST_IS_NOT_SIGNATURE_VALID);
}

TEST(ChainFaults, faultBeyondTheCapacityIsKeptInTheLastPlace) {
    constexpr auto capacity = static_cast<int>(openssl::ChainFaults::capacity);
    for (const int depth : {capacity - 1, capacity, capacity + 1, capacity + 10}) {
        openssl::ChainFaults faults;
        faults.add(depth, CERT_TRUST_IS_NOT_TIME_VALID);
        EXPECT_EQ(faults.at(capacity - 1), CERT_TRUST_IS_NOT_TIME_VALID) << depth;
    }
}

TEST_F(CertGetCertificateChain, badChainLeavesTheErrorQueueAlone) {
    ERR_clear_error();
    verdictOf(withBrokenSignature(issue(serverNamed("leaf"), &root)));
    EXPECT_EQ(ERR_get_error(), 0UL);
}

TEST_F(CertGetCertificateChain, chainOutlivesTheCertificateAndTheStore) {
    install("leaf.pem", issue(serverNamed("leaf"), &between), {&between});
    HeldChain chain;
    {
        OpenedStore store;
        HeldContext leaf = firstIn(store.get());
        chain = chainOf(leaf.get(), serverUsage);
        leaf = HeldContext();
        EXPECT_FALSE(store.close()); // the chain still holds the leaf
    }
    EXPECT_EQ(elementsOf(chain), (Names{L"leaf", L"between", L"root"}));
}

TEST_F(ChainPolicy, nullChainIsRefused) {
    CERT_CHAIN_POLICY_PARA parameters{};
    CERT_CHAIN_POLICY_STATUS status{};
    EXPECT_FALSE(platform::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, nullptr,
                                                            &parameters, &status));
    EXPECT_NE(platform::GetLastError(), 0U);
    EXPECT_EQ(status.dwError, 0U);
}

TEST_F(ChainPolicy, otherPolicyIsRefused) {
    const HeldChain chain = chainOf(contextOf(root).get(), "");
    CERT_CHAIN_POLICY_PARA parameters{};
    CERT_CHAIN_POLICY_STATUS status{};
    const char* const basePolicy = reinterpret_cast<const char*>(ULONG_PTR{1});
    EXPECT_FALSE(
        platform::CertVerifyCertificateChainPolicy(basePolicy, chain.get(), &parameters, &status));
}

TEST_F(CertGetCertificateChain, nullCertificateGivesNoChain) {
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    CERT_CHAIN_PARA parameters{};
    EXPECT_FALSE(platform::CertGetCertificateChain(nullptr, nullptr, nullptr, nullptr, &parameters,
                                                   0, nullptr, &chain));
    EXPECT_EQ(chain, nullptr);
}

} // namespace
} // namespace VexaSsl::test
