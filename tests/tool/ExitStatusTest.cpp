// Every exit status, provoked from outside. The numbers are a promise to scripts.
#include "integration/support/HostSocket.h"
#include "integration/support/Relay.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <thread>

namespace VexaSsl::test {
namespace {

void expectFailure(const Outcome& outcome, int status, const std::string& line) {
    EXPECT_EQ(outcome.status, status) << outcome.errors;
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
    EXPECT_NE(outcome.errors.find(line), std::string::npos) << outcome.errors;
}

Outcome connected(const std::string& target, const Words& arguments,
                  const Command::Input& input = Command::Input::text("hello\n")) {
    return runTool(Words{"connect", target} + arguments, input);
}

TEST(ExitStatus, echoedTextIsWell) {
    RunningServer server(secureServer());
    const Outcome outcome = connected(server.target(), secureClient());
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "hello\n");
    EXPECT_EQ(failureLines(outcome.errors), 0) << outcome.errors;
}

TEST(ExitStatus, helpIsWellAndShowsTheStatuses) {
    const Outcome outcome = runTool({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.output.find("  7  own certificate or key\n"), std::string::npos);
    EXPECT_EQ(runTool({"serve", "--help"}).status, 0);
    EXPECT_EQ(runTool({"connect", "--help"}).status, 0);
}

TEST(ExitStatus, wrongArgumentsAreUsage) {
    for (const Words& arguments :
         {Words{}, Words{"dance"}, Words{"serve"}, Words{"serve", "--port", "65536"},
          Words{"serve", "--port", "x"}, Words{"serve", "--port", "0", "--tango"}, Words{"connect"},
          Words{"connect", "localhost:1", "more"},
          Words{"connect", "localhost:1", "--connection", "Lonely"},
          Words{"connect", "localhost:1", "--timeout", "-1"}}) {
        expectFailure(runTool(arguments), 1, " --help)");
    }
}

TEST(ExitStatus, invalidTargetsAreUsage) {
    for (const char* target : {"localhost", "localhost:", "localhost:0", "localhost:70000",
                               "localhost:https", ":80", "[]:80", "::1:80"}) {
        expectFailure(runTool({"connect", target}), 1, "is no HOST:PORT");
    }
}

TEST(ExitStatus, missingIniFileIsUsageAndNeverPlainText) {
    expectFailure(runTool({"connect", "localhost:1", "--ini", "/nowhere/at.ini"}), 1,
                  "cannot open the ini file [/nowhere/at.ini]");
    expectFailure(runTool({"serve", "--port", "0", "--ini", "/nowhere/at.ini"}), 1,
                  "cannot open the ini file [/nowhere/at.ini]");
}

TEST(ExitStatus, missingStoreIsUsage) {
    const auto ini = Command::Input::text("[VexaSsl]\nConfigurationStore=/nowhere/at.store\n").path;
    expectFailure(runTool({"connect", "localhost:1", "--ini", ini.string()}), 1,
                  "cannot open the configuration store");
}

TEST(ExitStatus, iniFileWithoutStoreIsUsage) {
    const auto ini = Command::Input::text("[Other]\nkey=value\n").path;
    expectFailure(runTool({"connect", "localhost:1", "--ini", ini.string()}), 1,
                  "No VexaSsl.ConfigurationStore section present in ini file");
}

TEST(ExitStatus, reservedConnectionNameIsUsage) {
    Words arguments = secureClient();
    arguments[3] = "PresentationClient";
    expectFailure(connected("localhost:1", arguments), 1, "reserved");
}

TEST(ExitStatus, missingCertificateFolderIsUsage) {
    expectFailure(runTool({"connect", "localhost:1", "--certificates", "/nowhere"}), 1,
                  "no certificate folder at [/nowhere]");
}

TEST(ExitStatus, badEncryptionWordIsUsage) {
    expectFailure(connected("localhost:1", configured({{"UseEncryption", "Yes"}})), 1,
                  "Supplied value [Yes] of UseEncryption is invalid");
}

TEST(ExitStatus, badSecurityOptionIsUsageBeforeAServerListens) {
    const Outcome outcome =
        runTool(Words{"serve", "--port", "0"} +
                secureServer(pki::localhost, {{"RequireClientAuthentication", "Maybe"}}));
    expectFailure(outcome, 1, "Supplied value [Maybe] of RequireClientAuthentication is invalid");
    EXPECT_EQ(outcome.output, "");
}

TEST(ExitStatus, badSecurityOptionIsUsageForAClient) {
    RunningServer server(secureServer());
    expectFailure(connected(server.target(), secureClient({{"RequireClientAuthentication", "No"}})),
                  1, "Supplied value [No] of RequireClientAuthentication is invalid");
}

TEST(ExitStatus, fullDiskAtStandardOutputIsUsage) {
    RunningServer server(plainText());
    Command command(connectTo(server.target()), Command::Input::text("hello\n"), "/dev/full");
    expectFailure(runToEnd(command), 1, "cannot write to standard output");
}

TEST(ExitStatus, refusedConnectionCannotConnect) {
    std::uint16_t port = 0;
    { port = Listener().port(); }
    expectFailure(connected("127.0.0.1:" + std::to_string(port), secureClient()), 2,
                  "connection refused");
}

TEST(ExitStatus, unknownHostCannotConnect) {
    expectFailure(runTool({"connect", "no-such-host.invalid:80"}), 2,
                  "cannot resolve [no-such-host.invalid]");
}

TEST(ExitStatus, hostBeyondAsciiIsResolvedByItsALabels) {
    expectFailure(runTool({"connect", "M\xC3\xBCller.invalid:80"}), 2,
                  "cannot resolve [xn--mller-kva.invalid]");
    expectFailure(runTool({"explain", "m\xC3\xBCller.invalid:80"}), 2,
                  "cannot resolve [xn--mller-kva.invalid]");
    expectFailure(runTool({"connect", "\xFF.invalid:80"}), 1, "the host is no host name");
}

TEST(ExitStatus, portInUseCannotListen) {
    Listener other;
    expectFailure(runTool({"serve", "--port", std::to_string(other.port())}), 2,
                  "address already in use");
}

TEST(ExitStatus, foreignAddressCannotBeListenedOn) {
    expectFailure(runTool({"serve", "--port", "0", "--listen", "192.0.2.1"}), 2,
                  "address not available");
}

TEST(ExitStatus, silentPeerInTheHandshakeTimesOut) {
    Listener silent;
    expectFailure(connected("127.0.0.1:" + std::to_string(silent.port()),
                            secureClient() + Words{"--timeout", "1"}),
                  3, "timed out connecting");
}

TEST(ExitStatus, silentPeerAfterTheInputTimesOut) {
    Listener silent;
    expectFailure(connected("127.0.0.1:" + std::to_string(silent.port()), {"--timeout", "1"}), 3,
                  "timed out");
}

TEST(ExitStatus, peerWithoutTlsFailsTheHandshake) {
    RunningServer plain(plainText());
    expectFailure(connected(plain.target(), secureClient()), 4, "no secure connection");
}

const char* const onlyTls12 = ": TLS 1.2 is the newest version spoken here, so a peer that allows "
                              "only TLS 1.3 can't connect";

TEST(ExitStatus, serverOfTls13OnlyIsNamedAsSuch) {
    ForeignServer server({}, "-tls1_3");
    expectFailure(connected(server.target(), secureClient()), 4, onlyTls12);
    expectFailure(runTool({"explain", server.target()}), 4, onlyTls12);
}

TEST(ExitStatus, clientOfTls13OnlyIsNamedAsSuch) {
    RunningServer server(secureServer());
    Command client({"openssl", "s_client", "-tls1_3", "-connect", server.target()});
    EXPECT_NE(client.exitStatus(), 0);
    EXPECT_TRUE(server.command().complains(onlyTls12)) << server.command().errors();
}

TEST(ExitStatus, peerThatClosesInTheHandshakeFailsIt) {
    RunningServer server(secureServer());
    Relay relay(server.port(), {.toServer = {}, .toClient = {.cutAfter = 100}});
    expectFailure(connected("localhost:" + std::to_string(relay.port()), secureClient()), 4,
                  "Connection closed (during negotiation)");
}

TEST(ExitStatus, changedRecordIsAProtocolFailure) {
    RunningServer server(secureServer());
    Relay whole(server.port(), {});
    ASSERT_EQ(connected("localhost:" + std::to_string(whole.port()), secureClient()).status, 0);
    const std::size_t last = whole.passedToClient() - 1;
    Relay relay(server.port(), {.toServer = {}, .toClient = {.changeAt = last}});
    const Outcome outcome = connected("localhost:" + std::to_string(relay.port()), secureClient());
    expectFailure(outcome, 4, "DecryptMessage failed with: ");
    EXPECT_EQ(outcome.output, "");
}

TEST(ExitStatus, certificateOfAnUnknownAuthorityIsNotTrusted) {
    RunningServer server(secureServer(pki::untrusted));
    expectFailure(connected(server.target(), secureClient()), 5,
                  "the peer's certificate is not trusted");
}

TEST(ExitStatus, expiredCertificateIsNotTrusted) {
    RunningServer server(secureServer(pki::expired));
    expectFailure(connected(server.target(), secureClient()), 5,
                  "the peer's certificate is not trusted");
}

TEST(ExitStatus, certificateForAnotherNameIsANameMismatch) {
    RunningServer server(secureServer(pki::otherName));
    expectFailure(connected(server.target(), secureClient()), 6,
                  "the peer's certificate is for another name");
}

TEST(ExitStatus, missingClientCertificateIsOurOwn) {
    RunningServer server(secureServer());
    expectFailure(connected(server.target(),
                            secureClient({{"ClientCertificateToSendName", "nobody at all"}})),
                  7, "Was not able to find a certificate with the name [nobody at all]");
}

TEST(ExitStatus, missingServerCertificateIsOurOwnBeforeListening) {
    const Outcome outcome = runTool(Words{"serve", "--port", "0"} + secureServer("nobody at all"));
    expectFailure(outcome, 7, "Was not able to find a certificate with the name [nobody at all]");
    EXPECT_EQ(outcome.output, "");
}

TEST(ExitStatus, serverThatRequiresACertificateRefusesUs) {
    ForeignServer server({"-Verify", "1", "-verify_return_error"});
    expectFailure(connected(server.target(), secureClient()), 8,
                  "the peer refused our certificate");
}

TEST(ExitStatus, serverThatDistrustsOurCertificateRefusesUs) {
    ForeignServer server({"-Verify", "1", "-verify_return_error"});
    expectFailure(connected(server.target(),
                            secureClient({{"ClientCertificateToSendName", pki::untrustedClient}})),
                  8, "the peer refused our certificate");
}

// serve judges a certificate after the handshake and just closes; what the client has sent by then
// decides whether that resets the connection.
TEST(ExitStatus, certificateRefusedAfterTheHandshakeIsRefusedEachTime) {
    RunningServer server(secureServer() + Words{"--expect-client", "nobody.test"});
    const Words own = secureClient({{"ClientCertificateToSendName", pki::client}});
    for (int i = 0; i < 5; ++i) {
        expectFailure(connected(server.target(), own), 8, "the peer refused our certificate");
        expectFailure(connected(server.target(), own, Command::Input::none()), 8,
                      "it asked for one, and ended the connection without sending a byte");
        Command waiting(connectTo(server.target(), own), Command::Input::open());
        EXPECT_EQ(waiting.exitStatus(), 8) << waiting.errors();
    }
}

TEST(ExitStatus, certificateThatAServerWantsIsRefusedEachTime) {
    RunningServer server(secureServer() + Words{"--expect-client", "Any"});
    for (int i = 0; i < 5; ++i) {
        expectFailure(connected(server.target(), secureClient()), 8, "or wants one");
    }
}

TEST(ExitStatus, inputThatThePeersSystemNeverTookIsCutShort) {
    Listener listener;
    const int small = 4096;
    const int descriptor = static_cast<int>(listener.handle());
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    Command client(connectTo("127.0.0.1:" + std::to_string(listener.port())),
                   Command::Input::text(std::string(60000, 'x')));
    {
        const int accepted = accept(descriptor, nullptr, nullptr);
        const HostSocket peer(static_cast<SOCKET>(accepted));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        shutdown(peer.descriptor(), SHUT_WR);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_TRUE(client.running()) << client.errors();
    }
    expectFailure(runToEnd(client), 9, "before the peer took all input");
}

TEST(ExitStatus, trustedClientCertificateIsWell) {
    ForeignServer server({"-Verify", "1", "-verify_return_error"});
    Command client(
        connectTo(server.target(), secureClient({{"ClientCertificateToSendName", pki::client}})),
        Command::Input::open());
    client.say("abc\n");
    EXPECT_TRUE(client.shows("cba")) << client.errors();
    client.closeInput();
    EXPECT_EQ(client.exitStatus(), 0) << client.errors();
}

TEST(ExitStatus, endInsideARecordIsCutShort) {
    RunningServer server(secureServer());
    Relay whole(server.port(), {});
    ASSERT_EQ(connected("localhost:" + std::to_string(whole.port()), secureClient()).status, 0);
    const std::size_t last = whole.passedToClient() - 1;
    Relay relay(server.port(), {.toServer = {}, .toClient = {.cutAfter = last}});
    expectFailure(connected("localhost:" + std::to_string(relay.port()), secureClient()), 9,
                  "the connection ended inside a record");
}

TEST(ExitStatus, resetConnectionIsCutShort) {
    RunningServer server(plainText());
    Relay relay(server.port(),
                {.toServer = {}, .toClient = {.cutAfter = 3, .ending = Ending::reset}});
    expectFailure(connected("127.0.0.1:" + std::to_string(relay.port()), {}), 9, "connection lost");
}

TEST(ExitStatus, endBeforeAllInputWasSentIsCutShort) {
    RunningServer server(plainText());
    Relay relay(server.port(), {.toServer = {.cutAfter = 1000}, .toClient = {}});
    const Outcome outcome =
        connected("127.0.0.1:" + std::to_string(relay.port()), {},
                  Command::Input::text(std::string(std::size_t{16} << 20, 'x')));
    EXPECT_EQ(outcome.status, 9) << outcome.errors;
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
}

} // namespace
} // namespace VexaSsl::test
