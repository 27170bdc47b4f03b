#include "integration/support/Pki.h"

#include "VexaPlatform/Certificates.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace VexaSsl::test::pki {

void use(const std::filesystem::path& certificates) {
    platform::setCertificateFolder(certificates);
}

// ctest creates the certificates before the tests; a test program that is started by hand creates
// them if they are missing.
void useTestCertificates() {
    if (!std::filesystem::exists(folder() / "all" / "other-key" / "chain.pem")) {
        const std::string command =
            std::string(VEXASSL_MAKE_CERTIFICATES) + " '" + folder().string() + "' " + machineName;
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    use(folder());
}

} // namespace VexaSsl::test::pki
