// Connections between vexassl of one system and vexassl of the other, in both roles.
#include "across/Systems.h"
#include "integration/support/Pattern.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace VexaSsl::test {
namespace {

using ::testing::HasSubstr;

const std::string serverCertificate = "case server-rsa,";
const std::string clientCertificate = "case client, client.test";

// Returns a file with that many known bytes.
std::filesystem::path fileOf(std::size_t size) {
    const Pattern pattern;
    const auto file = freshFile(".data");
    std::ofstream stream(file, std::ios::binary);
    for (std::size_t written = 0; written < size;) {
        const auto part = pattern.at(written, std::min(size - written, Pattern::period));
        stream.write(part.data(), static_cast<std::streamsize>(part.size()));
        written += part.size();
    }
    return file;
}

// Returns the exit status of a program that may run long.
int statusInTheEnd(Command& program) {
    int status = -1;
    for (int tries = 0; status == -1 && tries < 4; ++tries) {
        status = program.exitStatus();
    }
    return status;
}

void expectBytesComeBack(Server& server, System client, std::size_t size) {
    const auto file = fileOf(size);
    Command caller(tool(client, {"connect", server.target()}, secure()),
                   Command::Input::file(file));
    EXPECT_EQ(statusInTheEnd(caller), 0) << caller.errors() << server.command().errors();
    EXPECT_TRUE(caller.output() == contents(file)) << "the bytes differ";
    std::filesystem::remove(file);
}

constexpr std::size_t mebibyte = std::size_t{1} << 20;

// The parameter is the server's system; the client runs on the other.
class Across : public ::testing::TestWithParam<System> {
protected:
    System server() const { return GetParam(); }
    System client() const { return otherThan(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Servers, Across,
                         ::testing::Values(System::linuxSystem, System::windowsSystem),
                         [](const auto& kind) { return nameOf(kind.param); });

TEST_P(Across, sixtyFourMebibytesAreEchoedUnchanged) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    Server running = serve(server(), sending(serverCertificate));
    expectBytesComeBack(running, client(), 64 * mebibyte);
}

TEST_P(Across, overlappedServerEchoesEveryByte) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    Server running = serve(server(), sending(serverCertificate), {"--overlapped"});
    expectBytesComeBack(running, client(), 16 * mebibyte);
}

TEST_P(Across, bothLogLayersLogAConnectionOnEachSide) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    const Options layers = {{"InjectLogLayers", "True"}, {"MinimumSeverityToLog", "Debug"}};
    Server running = serve(server(), sending(serverCertificate, layers));
    Command caller(tool(client(), {"connect", running.target()}, secure(layers)),
                   Command::Input::text("hello"));
    EXPECT_EQ(caller.exitStatus(), 0) << caller.errors();
    EXPECT_EQ(caller.output(), "hello");
    EXPECT_TRUE(running.command().complains("] to send [5] byte message"));
    for (const std::string& lines : {caller.errors(), running.command().errors()}) {
        EXPECT_THAT(lines, ::testing::ContainsRegex(
                               "Application Layer using socket \\[[0-9]+\\] to send \\[5\\]"));
        // The record: header, explicit nonce, five bytes and tag.
        EXPECT_THAT(lines, ::testing::ContainsRegex(
                               "Encryption Layer using socket \\[[0-9]+\\] to send \\[34\\]"));
    }
}

TEST_P(Across, lineIsEchoedBeforeTheInputEnds) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    Server running = serve(server(), sending(serverCertificate));
    Command caller(tool(client(), {"connect", running.target()}, secure()), Command::Input::open());
    caller.say("one line\n");
    EXPECT_TRUE(caller.shows("one line\n")) << caller.errors();
    caller.closeInput();
    EXPECT_EQ(caller.exitStatus(), 0) << caller.errors();
}

// --- Certificates of a Windows server, chosen by their name, as a Linux client verifies them. Not
// the other way round: Wine's security package accepts every server certificate and requests none
// of clients.

int statusOfLinuxClient(const std::string& certificate) {
    Server running = serve(System::windowsSystem, sending(certificate));
    Command caller(tool(System::linuxSystem, {"connect", running.target()}, secure()));
    return caller.exitStatus();
}

TEST(ServerCertificateOfWindows, acceptedWithTheRightNameAndAuthority) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    EXPECT_EQ(statusOfLinuxClient(serverCertificate), 0);
}

TEST(ServerCertificateOfWindows, refusedForItsName) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    EXPECT_EQ(statusOfLinuxClient("case wrong-name,"), 6);
}

TEST(ServerCertificateOfWindows, refusedForItsAuthority) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    EXPECT_EQ(statusOfLinuxClient("case untrusted,"), 5);
}

TEST(ServerCertificateOfWindows, refusedAfterItsExpiry) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    EXPECT_EQ(statusOfLinuxClient("case expired,"), 5);
}

// --- Client certificates.

Options askingServer(const std::string& acceptable) {
    return sending(serverCertificate, {{"RequireClientAuthentication", "True"},
                                       {"AcceptableClientCertificateToReceiveNames", acceptable},
                                       {"MinimumSeverityToLog", "Debug"}});
}

TEST(ClientCertificateOfWindows, acceptedByALinuxServer) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    Server running = serve(System::linuxSystem, askingServer("client.test"));
    Command caller(tool(System::windowsSystem, {"connect", running.target()},
                        secure({{"ClientCertificateToSendName", clientCertificate}})),
                   Command::Input::text("known"));
    EXPECT_EQ(caller.exitStatus(), 0) << caller.errors() << running.command().errors();
    EXPECT_EQ(caller.output(), "known");
    EXPECT_TRUE(
        running.command().complains("The certificate chain is trusted for client authentication"));
}

TEST(ClientCertificateOfWindows, refusedByALinuxServerThatExpectsAnother) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    Server running = serve(System::linuxSystem, askingServer("another.test"));
    Command caller(tool(System::windowsSystem, {"connect", running.target()},
                        secure({{"ClientCertificateToSendName", clientCertificate}})),
                   Command::Input::text("unknown"));
    caller.exitStatus(); // the client's handshake has succeeded; it receives the end of the stream
    EXPECT_EQ(caller.output(), "");
    EXPECT_TRUE(running.command().complains("The names we would accept are: [another.test]"));
    EXPECT_THAT(running.command().errors(),
                HasSubstr("All names on this certificate: [client.test]"));
}

TEST(ClientCertificateOfWindows, connectionIsRefusedByALinuxServerWithoutIt) {
    VEXASSL_NEEDS_WINDOWS("vexassl");
    Server running = serve(System::linuxSystem, askingServer("Any"));
    Command caller(tool(System::windowsSystem, {"connect", running.target()}, secure()),
                   Command::Input::text("unknown"));
    caller.exitStatus();
    EXPECT_EQ(caller.output(), "");
    EXPECT_TRUE(running.command().complains("Probable cause: no certificate was sent"));
}

// --- A completion port.

TEST(CompletionPortOfWindows, sixtyFourMebibytesAreEchoedUnchanged) {
    VEXASSL_NEEDS_WINDOWS("port_host");
    Server running(program(System::windowsSystem, "port_host") +
                   iniAndConnection(System::windowsSystem, sending(serverCertificate)));
    expectBytesComeBack(running, System::linuxSystem, 64 * mebibyte);
    EXPECT_EQ(running.command().exitStatus(), 0) << running.command().errors();
}

TEST(CompletionPortOfWindows, bothLogLayersLogTheReceive) {
    VEXASSL_NEEDS_WINDOWS("port_host");
    Server running(
        program(System::windowsSystem, "port_host") +
        iniAndConnection(System::windowsSystem,
                         sending(serverCertificate, {{"InjectLogLayers", "True"},
                                                     {"MinimumSeverityToLog", "Debug"}})));
    expectBytesComeBack(running, System::linuxSystem, 5);
    EXPECT_EQ(running.command().exitStatus(), 0) << running.command().errors();
    const std::string lines = running.command().errors();
    EXPECT_THAT(lines, ::testing::ContainsRegex("Application Layer used socket \\[[0-9]+\\] to "
                                                "WSARecv \\[34\\] byte message"));
    EXPECT_THAT(lines, ::testing::ContainsRegex(
                           "Encryption Layer using socket \\[[0-9]+\\] to send \\[34\\]"));
}

} // namespace
} // namespace VexaSsl::test
