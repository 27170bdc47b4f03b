#include "integration/support/Pki.h"

#include "VexaPlatform/Certificates.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace VexaSsl::test::pki {

std::filesystem::path folder() {
    return VEXASSL_TEST_PKI;
}

std::filesystem::path file(const std::string& name, const std::string& kind) {
    return folder() / "all" / name / (kind + ".pem");
}

namespace {

// ctest makes the certificates before the tests; a test program started by hand makes them itself
// when they were never made.
class CertificatesAtHand : public ::testing::Environment {
public:
    void SetUp() override {
        if (!std::filesystem::exists(folder() / "all" / "other-key" / "chain.pem")) {
            const std::string command = std::string(VEXASSL_MAKE_CERTIFICATES) + " '" +
                                        folder().string() + "' " + machineName;
            ASSERT_EQ(std::system(command.c_str()), 0) << command;
        }
        platform::setCertificateFolder(folder());
    }
};

const auto* const registered =
    ::testing::AddGlobalTestEnvironment(new CertificatesAtHand); // gtest deletes it

} // namespace

} // namespace VexaSsl::test::pki
