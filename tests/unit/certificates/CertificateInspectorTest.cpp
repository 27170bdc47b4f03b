// CertificateInspector: chains.
#include "certificates/CertificateInspector.h"

#include "fakes/CertificateShelf.h"
#include "fakes/CollectingLog.h"

#include <gmock/gmock.h>

namespace VexaSsl::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Ne;
using Calls = std::vector<std::string>;

const LogLine startingPoint{
    Severity::Info,
    L"The following information is not complete, but provided as a starting point. Please inspect "
    L"the certificate chain through the Microsoft Management Console"};

struct CertificateInspectorTest : testing::Test {
    // Two simple chains: leaf and middle, then root alone.
    struct TwoChains {
        CERT_CHAIN_ELEMENT elements[3]{};
        CERT_CHAIN_ELEMENT* first[2] = {&elements[0], &elements[1]};
        CERT_CHAIN_ELEMENT* second[1] = {&elements[2]};
        CERT_SIMPLE_CHAIN simple[2]{};
        CERT_SIMPLE_CHAIN* simples[2] = {&simple[0], &simple[1]};
        CERT_CHAIN_CONTEXT context{};
    };

    CertificateInspectorTest() {
        chain.elements[0].pCertContext = leaf;
        chain.elements[1].pCertContext = middle;
        chain.elements[2].pCertContext = root;
        chain.simple[0].cElement = 2;
        chain.simple[0].rgpElement = chain.first;
        chain.simple[1].cElement = 1;
        chain.simple[1].rgpElement = chain.second;
        chain.context.cChain = 2;
        chain.context.rgpChain = chain.simples;
        platform.CertGetCertificateChain = [this](auto, auto, auto, auto, auto, auto, auto,
                                                  PCCERT_CHAIN_CONTEXT* made) {
            *made = &chain.context;
            return TRUE;
        };
        platform.CertFreeCertificateChain = [this](PCCERT_CHAIN_CONTEXT given) {
            freed.push_back(given);
        };
    }

    // Lets the policy return the error and its place.
    void answer(DWORD error, LONG chainIndex = -1, LONG elementIndex = -1, BOOL ran = TRUE) {
        platform.CertVerifyCertificateChainPolicy = [=](const char*, PCCERT_CHAIN_CONTEXT,
                                                        CERT_CHAIN_POLICY_PARA*,
                                                        CERT_CHAIN_POLICY_STATUS* status) {
            status->dwError = error;
            status->lChainIndex = chainIndex;
            status->lElementIndex = elementIndex;
            return ran;
        };
    }

    CollectingLog log;
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};
    PCCERT_CONTEXT leaf = shelf.make({}, L"leaf");
    PCCERT_CONTEXT middle = shelf.make({}, L"middle");
    PCCERT_CONTEXT root = shelf.make({}, L"root");
    TwoChains chain;
    std::vector<PCCERT_CHAIN_CONTEXT> freed;
    CertificateInspector inspector{log};
};

TEST_F(CertificateInspectorTest, trustedForServersIsOneDebugLine) {
    answer(0);
    EXPECT_TRUE(inspector.verifyCertificateChain(leaf, true));
    EXPECT_THAT(log.lines,
                ElementsAre(LogLine{Severity::Debug, L"The certificate chain is trusted for server "
                                                     L"authentication"}));
}

TEST_F(CertificateInspectorTest, trustedForClientsIsOneDebugLine) {
    answer(0);
    EXPECT_TRUE(inspector.verifyCertificateChain(leaf, false));
    EXPECT_THAT(log.lines,
                ElementsAre(LogLine{Severity::Debug, L"The certificate chain is trusted for client "
                                                     L"authentication"}));
}

TEST_F(CertificateInspectorTest, chainIsBuiltJudgedAndFreedInThisOrder) {
    answer(0);
    inspector.verifyCertificateChain(leaf, true);
    EXPECT_EQ(platform.calls, (Calls{"CertGetCertificateChain", "CertVerifyCertificateChainPolicy",
                                     "CertFreeCertificateChain"}));
    EXPECT_THAT(freed, ElementsAre(&chain.context));
}

TEST_F(CertificateInspectorTest, chainIsAskedForOneUsageNowAndWithoutRevocation) {
    for (const bool forServer : {true, false}) {
        platform.CertGetCertificateChain = [&](HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate,
                                               FILETIME* time, HCERTSTORE additional,
                                               CERT_CHAIN_PARA* parameters, DWORD flags,
                                               void* reserved, PCCERT_CHAIN_CONTEXT* made) {
            EXPECT_EQ(engine, nullptr);
            EXPECT_EQ(certificate, leaf);
            EXPECT_EQ(time, nullptr);
            EXPECT_EQ(additional, nullptr);
            EXPECT_EQ(parameters->cbSize, 0U);
            EXPECT_EQ(parameters->RequestedUsage.dwType, 0U);
            EXPECT_EQ(parameters->RequestedUsage.Usage.cUsageIdentifier, 1U);
            EXPECT_STREQ(parameters->RequestedUsage.Usage.rgpszUsageIdentifier[0],
                         forServer ? "1.3.6.1.5.5.7.3.1" : "1.3.6.1.5.5.7.3.2");
            EXPECT_EQ(flags, 0U);
            EXPECT_EQ(reserved, nullptr);
            EXPECT_EQ(*made, nullptr);
            *made = &chain.context;
            return TRUE;
        };
        answer(0);
        EXPECT_TRUE(inspector.verifyCertificateChain(leaf, forServer));
    }
}

TEST_F(CertificateInspectorTest, policyIsGivenSizedStructuresAndNothingMore) {
    platform.CertVerifyCertificateChainPolicy = [&](const char* policy, PCCERT_CHAIN_CONTEXT given,
                                                    CERT_CHAIN_POLICY_PARA* parameters,
                                                    CERT_CHAIN_POLICY_STATUS* status) {
        EXPECT_EQ(reinterpret_cast<ULONG_PTR>(policy), 4U);
        EXPECT_EQ(given, &chain.context);
        EXPECT_EQ(parameters->cbSize, 16U);
        EXPECT_EQ(parameters->dwFlags, 0U);
        EXPECT_EQ(parameters->pvExtraPolicyPara, nullptr);
        EXPECT_EQ(status->cbSize, 24U);
        EXPECT_EQ(status->dwError, 0U);
        EXPECT_EQ(status->lChainIndex, 0);
        EXPECT_EQ(status->lElementIndex, 0);
        EXPECT_EQ(status->pvExtraPolicyStatus, nullptr);
        return TRUE;
    };
    EXPECT_TRUE(inspector.verifyCertificateChain(leaf, true));
}

TEST_F(CertificateInspectorTest, wrongUsageIsReportedAndNotTrusted) {
    answer(CERT_E_WRONG_USAGE, 0, 0);
    EXPECT_FALSE(inspector.verifyCertificateChain(leaf, false));
    EXPECT_THAT(
        log.lines,
        ElementsAre(LogLine{Severity::Warning, L"CertVerifyCertificateChainPolicy returned status: "
                                               L"2148204816 (text of 2148204816)"},
                    LogLine{Severity::Info,
                            L"The certificate chain is not trusted for client authentication"},
                    startingPoint,
                    LogLine{Severity::Info, L"This error applies to the certificate with the "
                                            L"friendly name [leaf]"}));
    EXPECT_THAT(freed, ElementsAre(&chain.context));
}

TEST_F(CertificateInspectorTest, faultOfOneElementNamesExactlyThatElement) {
    answer(CERT_E_EXPIRED, 0, 1);
    EXPECT_FALSE(inspector.verifyCertificateChain(leaf, true));
    EXPECT_EQ(log.lines[1],
              (LogLine{Severity::Info,
                       L"The certificate chain is not trusted for server authentication"}));
    EXPECT_EQ(log.lines.back(),
              (LogLine{Severity::Info,
                       L"This error applies to the certificate with the friendly name [middle]"}));
}

TEST_F(CertificateInspectorTest, faultOfASimpleChainNamesItsFirstElement) {
    answer(CERT_E_CHAINING, 1, -1);
    EXPECT_FALSE(inspector.verifyCertificateChain(leaf, true));
    EXPECT_EQ(log.lines.back(),
              (LogLine{Severity::Info, L"This error applies to the complete simple chain begining "
                                       L"at the certificate with the friendly name [root]"}));
}

TEST_F(CertificateInspectorTest, faultWithoutAPlaceIsTheEntireChainsAndReadsNoName) {
    answer(CERT_E_UNTRUSTEDROOT, -1, -1);
    EXPECT_FALSE(inspector.verifyCertificateChain(leaf, true));
    EXPECT_EQ(log.lines.back(),
              (LogLine{Severity::Info, L"This error applies to the entire certificate chain"}));
    EXPECT_THAT(platform.calls, Each(Ne("CertGetNameStringW")));
}

TEST_F(CertificateInspectorTest, elementWithoutAFriendlyNameLeavesTheBracketsEmpty) {
    chain.elements[0].pCertContext = shelf.make();
    answer(CERT_E_EXPIRED, 0, 0);
    EXPECT_FALSE(inspector.verifyCertificateChain(leaf, true));
    ASSERT_EQ(log.lines.size(), 5U);
    EXPECT_EQ(log.lines[3].severity, Severity::Warning);
    EXPECT_EQ(log.lines[4],
              (LogLine{Severity::Info,
                       L"This error applies to the certificate with the friendly name []"}));
}

TEST_F(CertificateInspectorTest, placeOutsideTheChainLeavesTheBracketsEmpty) {
    for (const auto& [chainIndex, elementIndex] :
         {std::pair<LONG, LONG>{2, 0}, {0, 2}, {-1, 0}, {-2, -1}, {0, -2}}) {
        answer(CERT_E_EXPIRED, chainIndex, elementIndex);
        EXPECT_FALSE(inspector.verifyCertificateChain(leaf, true));
        EXPECT_TRUE(log.lines.back().text.ends_with(L"with the friendly name []"));
    }
}

TEST_F(CertificateInspectorTest, policyThatCantRunIsNotTrusted) {
    answer(87, -1, -1, FALSE);
    platform.lastError = 5; // read and ignored
    EXPECT_FALSE(inspector.verifyCertificateChain(leaf, true));
    EXPECT_THAT(
        log.lines,
        ElementsAre(
            LogLine{Severity::Warning,
                    L"CertVerifyCertificateChainPolicy was unable to check the certificate chain"},
            LogLine{Severity::Info,
                    L"GetLastError returned: 87 (text of 87), which is not documented to be "
                    L"useful, but not documented to not be useful"}));
    EXPECT_EQ(platform.calls, (Calls{"CertGetCertificateChain", "CertVerifyCertificateChainPolicy",
                                     "GetLastError", "CertFreeCertificateChain"}));
}

struct CertificateInspectorWithoutChainTest : CertificateInspectorTest {
    CertificateInspectorWithoutChainTest() {
        platform.CertGetCertificateChain = [this](auto...) {
            platform.lastError = 1234;
            return FALSE;
        };
    }
    const LogLine notBuilt{Severity::Error, L"CertGetCertificateChain failed with: 0 (text of 0)"};
};

TEST_F(CertificateInspectorWithoutChainTest, lineHasTheNumberZeroAndThePolicyRunsOnNull) {
    bool judgedNull = false;
    platform.CertVerifyCertificateChainPolicy = [&](const char*, PCCERT_CHAIN_CONTEXT given,
                                                    CERT_CHAIN_POLICY_PARA*,
                                                    CERT_CHAIN_POLICY_STATUS*) {
        judgedNull = given == nullptr;
        return FALSE;
    };
    EXPECT_FALSE(inspector.verifyCertificateChain(leaf, true));
    EXPECT_TRUE(judgedNull);
    ASSERT_EQ(log.lines.size(), 3U);
    EXPECT_EQ(log.lines[0], notBuilt);
    EXPECT_EQ(log.lines[2].text, L"GetLastError returned: 0 (text of 0), which is not documented "
                                 L"to be useful, but not documented to not be useful");
}

TEST_F(CertificateInspectorWithoutChainTest, nullChainIsFreedWhateverThePolicySays) {
    answer(0, -1, -1, FALSE);
    inspector.verifyCertificateChain(leaf, true);
    answer(0);
    inspector.verifyCertificateChain(leaf, true);
    answer(CERT_E_CHAINING);
    inspector.verifyCertificateChain(leaf, true);
    EXPECT_THAT(freed, ElementsAre(nullptr, nullptr, nullptr));
}

TEST_F(CertificateInspectorWithoutChainTest, policyThatIsContentMakesItTrusted) {
    answer(0);
    EXPECT_TRUE(inspector.verifyCertificateChain(leaf, true));
    EXPECT_THAT(log.lines,
                ElementsAre(notBuilt, LogLine{Severity::Debug, L"The certificate chain is trusted "
                                                               L"for server authentication"}));
}

TEST_F(CertificateInspectorWithoutChainTest, placeInAMissingChainLeavesTheBracketsEmpty) {
    answer(CERT_E_CHAINING, 0, 0);
    EXPECT_FALSE(inspector.verifyCertificateChain(leaf, true));
    EXPECT_EQ(log.lines.front(), notBuilt);
    EXPECT_EQ(log.lines.back().text,
              L"This error applies to the certificate with the friendly name []");
}

} // namespace
} // namespace VexaSsl::test
