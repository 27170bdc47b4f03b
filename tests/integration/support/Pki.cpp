#include "integration/support/Pki.h"

#include "fakes/Secrets.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace VexaSsl::test::pki {

std::filesystem::path folder() {
    return VEXASSL_TEST_PKI;
}

std::filesystem::path file(const std::string& name, const std::string& kind) {
    return folder() / "all" / name / (kind + ".pem");
}

namespace {

class CertificateEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        useTestCertificates();
        for (const auto& test : std::filesystem::directory_iterator(folder() / "all")) {
            std::ifstream key(test.path() / "key.pem");
            secrets::addKey(std::string(std::istreambuf_iterator<char>(key), {}));
        }
    }
};

const auto* const registered =
    ::testing::AddGlobalTestEnvironment(new CertificateEnvironment); // gtest deletes it

} // namespace

} // namespace VexaSsl::test::pki
