#include "integration/support/Pki.h"

#include "integration/support/Secrets.h"

#include <gtest/gtest.h>

namespace VexaSsl::test::pki {

std::filesystem::path folder() {
    return VEXASSL_TEST_PKI;
}

std::filesystem::path file(const std::string& name, const std::string& kind) {
    return folder() / "all" / name / (kind + ".pem");
}

namespace {

class CertificatesAtHand : public ::testing::Environment {
public:
    void SetUp() override {
        takeIntoUse();
        secrets::learnKeys();
    }
};

const auto* const registered =
    ::testing::AddGlobalTestEnvironment(new CertificatesAtHand); // gtest deletes it

} // namespace

} // namespace VexaSsl::test::pki
