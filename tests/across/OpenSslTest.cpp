// Connections between the openssl programs, with TLS 1.2, and vexassl of each system.
#include "across/Systems.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;

class OpenSsl : public ::testing::TestWithParam<System> {};

INSTANTIATE_TEST_SUITE_P(Systems, OpenSsl,
                         ::testing::Values(System::linuxSystem, System::windowsSystem),
                         [](const auto& kind) { return nameOf(kind.param); });

#define VEXASSL_NEEDS_SYSTEM                                                                       \
    if (GetParam() == System::windowsSystem) {                                                     \
        VEXASSL_NEEDS_WINDOWS("vexassl");                                                          \
    }                                                                                              \
    static_assert(true)

Words client(std::uint16_t port) {
    return {"openssl",
            "s_client",
            "-connect",
            "127.0.0.1:" + std::to_string(port),
            "-servername",
            "localhost",
            "-verify_hostname",
            "localhost",
            "-CAfile",
            authorityFile(),
            "-verify_return_error",
            "-tls1_2",
            "-brief"};
}

Words identity(const std::string& name) {
    return {"-cert", certificateFile(name, "cert"), "-key", certificateFile(name, "key")};
}

TEST_P(OpenSsl, clientVerifiesTheServerAndReceivesTheEcho) {
    VEXASSL_NEEDS_SYSTEM;
    Server server = serve(GetParam(), sending("case server-rsa,"));
    Command caller(client(server.port()), Command::Input::open());
    caller.say("from the foreign side\n");
    EXPECT_TRUE(caller.shows("from the foreign side\n"))
        << caller.errors() << server.command().errors();
    EXPECT_THAT(caller.errors(), HasSubstr("Verification: OK"));
    EXPECT_THAT(caller.errors(), HasSubstr("Verified peername: localhost"));
    EXPECT_THAT(caller.errors(), HasSubstr("Protocol version: TLSv1.2"));
}

TEST_P(OpenSsl, clientRefusesAServerWithAnotherName) {
    VEXASSL_NEEDS_SYSTEM;
    Server server = serve(GetParam(), sending("case wrong-name,"));
    Command caller(client(server.port()));
    EXPECT_EQ(caller.exitStatus(), 1);
    EXPECT_THAT(caller.errors(), HasSubstr("ostname mismatch"));
}

TEST_P(OpenSsl, clientFetchesAPage) {
    VEXASSL_NEEDS_SYSTEM;
    Server server = serve(GetParam(), sending("case server-rsa,"), {"--www"});
    Command caller({"curl", "--silent", "--show-error", "--cacert", authorityFile(), "--connect-to",
                    "localhost:" + std::to_string(server.port()) +
                        ":127.0.0.1:" + std::to_string(server.port()),
                    "--max-time", "30", "https://" + server.target() + "/"});
    EXPECT_EQ(caller.exitStatus(), 0) << caller.errors();
    EXPECT_THAT(caller.output(), HasSubstr("<html"));
}

// s_server that returns every line reversed, on a port that it prints.
class ReversingServer {
public:
    explicit ReversingServer(const Words& more)
        : program(Words{"openssl", "s_server", "-accept", "127.0.0.1:0", "-tls1_2", "-rev",
                        "-CAfile", authorityFile()} +
                  identity("server-rsa") + more) {
        constexpr std::string_view ready = "ACCEPT 127.0.0.1:";
        program.shows(ready);
        program.shows("\n");
        const std::string output = program.output();
        const std::size_t at = output.find(ready);
        target =
            "localhost:" + (at == std::string::npos
                                ? std::string("0")
                                : std::to_string(std::atoi(output.c_str() + at + ready.size())));
    }

    Command program;
    std::string target;
};

// Our client sends a line and receives it reversed.
void expectReversed(Command& caller, Command& server) {
    caller.say("stressed\n");
    EXPECT_TRUE(caller.shows("desserts\n")) << caller.errors() << server.output();
}

TEST_P(OpenSsl, serverReceivesALine) {
    VEXASSL_NEEDS_SYSTEM;
    ReversingServer server({});
    Command caller(tool(GetParam(), {"connect", server.target}, secure()), Command::Input::open());
    expectReversed(caller, server.program);
}

TEST_P(OpenSsl, serverVerifiesARequiredCertificate) {
    VEXASSL_NEEDS_SYSTEM;
    ReversingServer server({"-Verify", "2", "-verify_return_error"});
    Command caller(tool(GetParam(), {"connect", server.target},
                        secure({{"ClientCertificateToSendName", "case client, client.test"}})),
                   Command::Input::open());
    expectReversed(caller, server.program);
    EXPECT_TRUE(server.program.complains("CN = client.test")) << server.program.errors();
}

TEST_P(OpenSsl, serverRefusesAClientWithoutARequiredCertificate) {
    VEXASSL_NEEDS_SYSTEM;
    ReversingServer server({"-Verify", "2", "-verify_return_error"});
    Command caller(tool(GetParam(), {"connect", server.target}, secure()),
                   Command::Input::text("stressed\n"));
    EXPECT_NE(caller.exitStatus(), 0);
    EXPECT_EQ(caller.output(), "");
}

} // namespace
} // namespace VexaSsl::test
