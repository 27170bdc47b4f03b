// A system on which OpenSSL can't make an SSL context: the tool's commands name the call and
// OpenSSL's own error.
#include "tool/Checked.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using testing::ContainsRegex;

// The tool where OpenSSL's configuration asks for FIPS-approved algorithms and no provider has any.
Outcome runWithoutAlgorithms(const Words& arguments) {
    const auto settings = Command::Input::text("openssl_conf = start\n[start]\n"
                                               "alg_section = algorithms\n[algorithms]\n"
                                               "default_properties = fips=yes\n")
                              .path;
    Command command(Words{"env", "OPENSSL_CONF=" + settings.string(), VEXASSL_TOOL} + arguments);
    return runToEnd(command);
}

void expectNamed(const Outcome& outcome, int status) {
    EXPECT_EQ(outcome.status, status) << outcome.errors;
    EXPECT_THAT(outcome.errors, ContainsRegex("2148074244 \\(.*\\): SSL_CTX_new: "
                                              "error:[0-9A-F]+:"));
}

TEST(SecurityFailure, isNamedByCheck) {
    const Configured files("[Connections]\nTested=Secure\n[Secure]\nUseEncryption=True\n");
    expectNamed(runWithoutAlgorithms({"check", "--ini", files.ini.string(), "--connection",
                                      "Tested", "--role", "client"}),
                7);
}

TEST(SecurityFailure, isNamedByConnect) {
    RunningServer server(secureServer());
    expectNamed(runWithoutAlgorithms(Words{"connect", server.target()} + secureClient()), 7);
}

TEST(SecurityFailure, isNamedByExplain) {
    RunningServer server(secureServer());
    expectNamed(runWithoutAlgorithms({"explain", server.target()}), 4);
}

} // namespace
} // namespace VexaSsl::test
