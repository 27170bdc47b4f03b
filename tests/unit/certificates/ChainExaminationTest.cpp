// What the tool reads of ChainExamination in addition to the result.
#include "certificates/ChainExamination.h"

#include "fakes/CertificateShelf.h"
#include "fakes/CollectingLog.h"

#include <gmock/gmock.h>

#include <new>
#include <vector>

namespace VexaSsl::test {
namespace {

struct ChainExaminationTest : testing::Test {
    ChainExaminationTest() {
        platform.CertFreeCertificateChain = [this](PCCERT_CHAIN_CONTEXT given) {
            freed.push_back(given);
        };
    }

    CollectingLog log;
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};
    std::vector<PCCERT_CHAIN_CONTEXT> freed;
    const PCCERT_CONTEXT certificate = shelf.make({L"one.test"}, L"one");
};

TEST_F(ChainExaminationTest, timeAndHelpersReachThePlatform) {
    FILETIME time{};
    time.dwLowDateTime = 1;
    time.dwHighDateTime = 2;
    const auto build = platform.CertGetCertificateChain;
    platform.CertGetCertificateChain =
        [&](HCERTCHAINENGINE engine, PCCERT_CONTEXT judged, FILETIME* asked, HCERTSTORE store,
            CERT_CHAIN_PARA* parameters, DWORD flags, void* reserved, PCCERT_CHAIN_CONTEXT* chain) {
            EXPECT_EQ(asked, &time);
            EXPECT_EQ(store, this);
            return build(engine, judged, asked, store, parameters, flags, reserved, chain);
        };
    const ChainExamination examination(log, certificate, true, &time, this);
    EXPECT_TRUE(examination.isTrusted());
}

TEST_F(ChainExaminationTest, chainIsKeptUntilDestruction) {
    {
        const ChainExamination examination(log, certificate, true);
        ASSERT_NE(examination.chain(), nullptr);
        EXPECT_EQ(examination.chain()->rgpChain[0]->rgpElement[0]->pCertContext, certificate);
        EXPECT_TRUE(freed.empty());
    }
    EXPECT_EQ(freed.size(), 1U);
}

TEST_F(ChainExaminationTest, statusOfAFaultIsReturned) {
    shelf.untrusted = {certificate};
    const ChainExamination examination(log, certificate, false);
    EXPECT_FALSE(examination.isTrusted());
    EXPECT_TRUE(examination.wasJudged());
    EXPECT_EQ(examination.status().dwError, CERT_E_UNTRUSTEDROOT);
}

TEST_F(ChainExaminationTest, missingChainIsNeitherJudgedNorTrusted) {
    platform.CertGetCertificateChain = [](auto...) { return FALSE; };
    platform.CertVerifyCertificateChainPolicy = [](auto...) { return FALSE; };
    const ChainExamination examination(log, certificate, true);
    EXPECT_FALSE(examination.isTrusted());
    EXPECT_FALSE(examination.wasJudged());
    EXPECT_EQ(examination.chain(), nullptr);
}

TEST_F(ChainExaminationTest, chainIsReleasedWhenALineCannotBeWritten) {
    CallbackLog failing;
    failing.onLine = [](auto&&...) { throw std::bad_alloc(); };
    EXPECT_THROW(ChainExamination(failing, certificate, true), std::bad_alloc);
    EXPECT_EQ(freed.size(), 1U);
}

} // namespace
} // namespace VexaSsl::test
