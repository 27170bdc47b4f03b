// A server's name against the name constraints of its authorities: not only the names in the
// certificate must be permitted but also the one that a client expects, which a wildcard may cover.
#include "chains/Counts.h"
#include "chains/Validation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

struct ConstrainedNameCase {
    std::string fact;
    Chain chain;
    std::wstring target;
    SECURITY_STATUS status;
    Remark remark = {};
};

void PrintTo(const ConstrainedNameCase& row, std::ostream* out) {
    *out << row.fact;
}

constexpr SECURITY_STATUS accepted = SEC_E_OK;
constexpr SECURITY_STATUS notPermitted = SEC_E_CERT_UNKNOWN;

Chain below(const std::vector<Der>& names) {
    return Chain(names).issuer("between");
}

Chain wildcard() {
    return below({dns("*.a.test")});
}

const Remark coveredByWildcard{.stricter = "the command doesn't check the expected name against "
                                           "the constraints"};

std::vector<ConstrainedNameCase> allCases() {
    const std::vector<Der> evil = {dns("evil.a.test")};
    const std::vector<Der> noNames;
    return {
        {"excluded name that a wildcard covers", wildcard().excluded(evil), L"evil.a.test",
         notPermitted, coveredByWildcard},
        {"excluded name in other case", wildcard().excluded(evil), L"EVIL.a.test", notPermitted,
         coveredByWildcard},
        {"excluded name with a dot at its end", wildcard().excluded(evil), L"evil.a.test.",
         notPermitted},
        {"name next to the excluded one", wildcard().excluded(evil), L"good.a.test", accepted},
        {"name that only ends like the excluded one", wildcard().excluded(evil), L"notevil.a.test",
         accepted},
        {"second of two excluded names", wildcard().excluded({dns("b.test"), dns("evil.a.test")}),
         L"evil.a.test", notPermitted, coveredByWildcard},
        {"name excluded by an upper authority", wildcard().issuer("upper").excluded(evil),
         L"evil.a.test", notPermitted, coveredByWildcard},
        {"excluded wildcard in the common name",
         Chain(noNames).commonName("*.a.test").issuer("between").excluded(evil), L"evil.a.test",
         notPermitted, coveredByWildcard},
        {"name that a wildcard and the permitted names cover",
         wildcard().permitted({dns("a.test")}), L"www.a.test", accepted},
        {"permitted name without a wildcard", below({dns("www.a.test")}).permitted({dns("a.test")}),
         L"www.a.test", accepted},
        {"address next to an excluded name", below({address("10.1.2.3")}).excluded(evil),
         L"10.1.2.3", accepted},
        {"common name outside of the permitted ones next to a name inside",
         Chain({dns("www.a.test")})
             .commonName("b.test")
             .issuer("between")
             .permitted({dns("a.test")}),
         L"www.a.test", accepted},
    };
}

class ConstrainedNames : public ::testing::TestWithParam<ConstrainedNameCase> {
protected:
    static void TearDownTestSuite() { counts.report("constrained names"); }

    static Counts counts;
};

Counts ConstrainedNames::counts;

TEST_P(ConstrainedNames, expectedNameMustBePermitted) {
    const ConstrainedNameCase& row = GetParam();
    const PresentedChain presented = row.chain.make();
    const HandshakeOutcome outcome = validatedByClient(presented, row.target);
    EXPECT_EQ(outcome.lines, linesOfClient(row.status, row.target));
    EXPECT_EQ(statusOnRequest(presented, row.target),
              row.status == accepted ? 0 : static_cast<DWORD>(CERT_E_INVALID_NAME));
    const Verification verification = verifiedByOpenSsl(
        presented, Purpose::server, std::string(row.target.begin(), row.target.end()));
    compare(counts, row.fact, row.status == accepted, outcome.accepted, verification.accepted,
            row.remark, verification.output);
}

INSTANTIATE_TEST_SUITE_P(, ConstrainedNames, ::testing::ValuesIn(allCases()),
                         [](const auto& row) { return nameOfFact(row.param.fact); });

} // namespace
} // namespace VexaSsl::test
