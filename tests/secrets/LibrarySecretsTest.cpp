// All stacks, in successful and failing connections, with known secrets in buffers, keys and
// passwords: no log line, exception or output of the process contains them.
#include "fakes/CollectingLog.h"
#include "fakes/Sweep.h"
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pki.h"
#include "secrets/SecretFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <fstream>
#include <thread>

namespace VexaSsl::test {
namespace {

using ::testing::IsEmpty;

const std::string boxedServer = "case server-rsa,";
const std::string goodServer = "case server-ecdsa,";

class LibrarySecrets : public ::testing::Test {
public:
    static void report() {
        if (total.searches != 0) {
            reportFigure("Secrets",
                         "library: " + std::to_string(total.lines) +
                             " log lines and exception texts of " + std::to_string(total.searches) +
                             " scenes searched, secrets in " + std::to_string(total.found));
        }
    }

protected:
    LibrarySecrets() {
        folder.secrets.add("what the client sends", fromClient);
        folder.secrets.add("what the server sends", fromServer);
    }

    ~LibrarySecrets() override {
        const std::string printed = output.stop();
        EXPECT_THAT(folder.secrets.foundIn(printed), IsEmpty()) << printed;
        EXPECT_GT(lines, 0U);
        total.lines += lines;
        total.searches += 1;
        total.found += found;
        EXPECT_EQ(found, 0U);
    }

    void inspect(const std::wstring& text) {
        const auto names = folder.secrets.foundIn(text);
        EXPECT_THAT(names, IsEmpty()) << convertWideToNarrow(text);
        ++lines;
        found += names.empty() ? 0 : 1;
    }

    void inspect(const Peer& peer) {
        for (const LogLine& line : peer.log->lines()) {
            inspect(line.text);
        }
    }

    void inspect(const ConnectedPair& pair) {
        inspect(pair.client);
        inspect(pair.server);
    }

    // Uses a connection like a host: send, select, peek, and receives of parts. select must not be
    // called on a stack that could switch to TLS and hasn't.
    void converse(ConnectedPair& pair, bool looks = true) {
        ASSERT_TRUE(pair.established());
        ASSERT_TRUE(pair.client.sendAll(fromClient));
        EXPECT_EQ(looks ? pair.server.readable(timeoutSeconds) : 1, 1);
        EXPECT_TRUE(pair.server.receive(20, msgPeek).has_value());
        EXPECT_EQ(pair.server.receiveAll(30), fromClient.substr(0, 30));
        EXPECT_EQ(pair.server.receiveAll(fromClient.size() - 30), fromClient.substr(30));
        ASSERT_TRUE(pair.server.sendAll(fromServer));
        EXPECT_EQ(pair.client.receiveAll(fromServer.size()), fromServer);
    }

    // Posts a receive after the bytes have been sent, and completes it.
    static std::string hearOverlapped(Peer& peer) {
        std::string bytes(200, '\0');
        WSABUF buffer{static_cast<ULONG>(bytes.size()), bytes.data()};
        Overlapped overlapped;
        DWORD count = 0;
        DWORD flags = 0;
        peer.stack->WSARecv(peer.socket.handle(), &buffer, 1, &count, &flags, overlapped.get(),
                            nullptr);
        if (!overlapped.wait(peer.socket.handle(), count) ||
            peer.stack->completeWSARecv(0, &count, nullptr) != 0) {
            return {};
        }
        return bytes.substr(0, count);
    }

    const std::string fromClient = markedText(10, 120);
    const std::string fromServer = markedText(11, 120);
    SecretFolder folder;
    CapturedOutput output;
    std::size_t lines = 0;
    std::size_t found = 0;

    struct Total {
        std::size_t lines = 0;
        std::size_t searches = 0;
        std::size_t found = 0;
    };
    static Total total;
};

LibrarySecrets::Total LibrarySecrets::total;

// Runs after all suites.
class Telling : public ::testing::Environment {
    void TearDown() override { LibrarySecrets::report(); }
};
const ::testing::Environment* const telling = ::testing::AddGlobalTestEnvironment(new Telling);

Settings talkative(const std::string& encryption, bool layers) {
    return Settings::plain()
        .with("UseEncryption", encryption)
        .with("MinimumSeverityToLog", "Debug")
        .with("InjectLogLayers", layers ? "True" : "False");
}

Settings serving(const Settings& settings, const std::string& certificate = goodServer) {
    return settings.with("ServerCertificateToSendName", certificate);
}

struct Way {
    std::string encryption;
    bool layers;
    Accepting accepting;
};

class AnyStack : public LibrarySecrets, public ::testing::WithParamInterface<Way> {};

TEST_P(AnyStack, transferredDataIsNotLogged) {
    const Settings settings = talkative(GetParam().encryption, GetParam().layers).named(L"Marked");
    ConnectedPair pair = connectPair(
        {.client = settings, .server = serving(settings), .accepting = GetParam().accepting});
    converse(pair, GetParam().encryption != "Opportunistically");
    inspect(pair);
}

TEST_P(AnyStack, overlappedReceivesAreNotLogged) {
    const Settings settings = talkative(GetParam().encryption, GetParam().layers).named(L"Marked");
    ConnectedPair pair = connectPair(
        {.client = settings, .server = serving(settings), .accepting = GetParam().accepting});
    ASSERT_TRUE(pair.established());
    std::string sent = fromClient;
    WSABUF buffer{static_cast<ULONG>(sent.size()), sent.data()};
    DWORD count = 0;
    EXPECT_EQ(pair.client.stack->WSASend(pair.client.socket.handle(), &buffer, 1, &count, 0,
                                         nullptr, nullptr),
              0);
    EXPECT_EQ(hearOverlapped(pair.server), fromClient);
    inspect(pair);
}

INSTANTIATE_TEST_SUITE_P(, AnyStack,
                         ::testing::Values(Way{"False", false, Accepting::blocking},
                                           Way{"False", true, Accepting::blocking},
                                           Way{"False", true, Accepting::overlapped},
                                           Way{"True", false, Accepting::blocking},
                                           Way{"True", true, Accepting::blocking},
                                           Way{"True", false, Accepting::overlapped},
                                           Way{"True", true, Accepting::overlapped},
                                           Way{"Opportunistically", false, Accepting::blocking},
                                           Way{"Opportunistically", true, Accepting::blocking},
                                           Way{"Opportunistically", true, Accepting::overlapped}),
                         [](const auto& way) {
                             return way.param.encryption + (way.param.layers ? "WithLayers" : "") +
                                    (way.param.accepting == Accepting::blocking ? "Blocking"
                                                                                : "Overlapped");
                         });

TEST_F(LibrarySecrets, dataBeforeAndAfterASwitchToTlsIsNotLogged) {
    const Settings settings = talkative("Opportunistically", false).named(L"Upgradable");
    ConnectedPair pair = connectPair(
        {.client = settings, .server = serving(settings), .accepting = Accepting::blocking});
    converse(pair, false);
    addrinfo* addresses = nullptr;
    ASSERT_EQ(pair.server.stack->getaddrinfo("localhost", nullptr, nullptr, &addresses), 0);
    platform::freeaddrinfo(addresses);
    const auto start = [](Peer& peer) {
        return dynamic_cast<IOtlsProvider&>(*peer.stack).startOtls();
    };
    {
        std::jthread serverStarts([&] { EXPECT_EQ(start(pair.server), 0); });
        EXPECT_EQ(start(pair.client), 0);
    }
    converse(pair);
    inspect(pair);
}

TEST_F(LibrarySecrets, certificatesOfBothSidesRevealNoKey) {
    const Settings settings = talkative("True", true);
    ConnectedPair pair = connectPair(
        {.client = settings.with("ClientCertificateToSendName", pki::client),
         .server = serving(settings, boxedServer).with("RequireClientAuthentication", "True")});
    converse(pair);
    inspect(pair);
}

TEST_F(LibrarySecrets, refusedClientRevealsNoSecret) {
    const Settings settings = talkative("True", true);
    ConnectedPair pair =
        connectPair({.client = settings.with("ClientCertificateToSendName", pki::client),
                     .server = serving(settings)
                                   .with("RequireClientAuthentication", "True")
                                   .with("AcceptableClientCertificateToReceiveNames", "x")});
    EXPECT_FALSE(pair.server.established());
    inspect(pair);
}

class UnusableCertificate : public LibrarySecrets,
                            public ::testing::WithParamInterface<std::string> {};

TEST_P(UnusableCertificate, failureRevealsNeitherKeyNorPassword) {
    const Settings settings = talkative("True", true);
    ConnectedPair pair = connectPair({.client = settings, .server = serving(settings, GetParam())});
    EXPECT_FALSE(pair.server.established());
    inspect(pair);
}

INSTANTIATE_TEST_SUITE_P(, UnusableCertificate,
                         ::testing::Values("case no-usage,",          // wrong password
                                           "case with-intermediate,", // key with a pass phrase
                                           "case two-names,",         // truncated key
                                           "Any",                     // none is suitable
                                           "nobody"));

TEST_F(LibrarySecrets, refusedServerRevealsNoSecret) {
    const Settings settings = talkative("True", true);
    ConnectedPair pair =
        connectPair({.client = settings, .server = serving(settings), .host = "127.0.0.2"});
    inspect(pair);
}

class Damage : public LibrarySecrets, public ::testing::WithParamInterface<const char*> {};

// Returns the position of the first data record, measured on an undamaged connection.
TEST_P(Damage, changedRecordIsNotLogged) {
    const Settings settings = talkative("True", true);
    const Plan plan{.client = settings, .server = serving(settings), .between = RelayPlan{}};
    std::size_t start = 0;
    {
        ConnectedPair whole = connectPair(plan);
        ASSERT_TRUE(whole.established());
        start = whole.relay->passedToServer();
    }
    Plan damaged = plan;
    const std::string kind = GetParam();
    if (kind == "flipped") {
        damaged.between->toServer.changeAt = start + 40;
    } else {
        damaged.between->toServer.cutAfter = start + 40;
    }
    ConnectedPair pair = connectPair(damaged);
    ASSERT_TRUE(pair.established());
    pair.client.sendAll(fromClient);
    pair.client.socket.close(); // the server drops the record and waits for the next one
    EXPECT_EQ(pair.server.receive(200).value_or(""), "");
    inspect(pair);
}

INSTANTIATE_TEST_SUITE_P(, Damage, ::testing::Values("flipped", "cut"));

TEST_F(LibrarySecrets, clearTextToATlsServerIsNotLogged) {
    const Listener listener;
    HostSocket caller = rawConnection(listener.port());
    sendBytes(caller.handle(), fromClient);
    Peer server = acceptPeer(listener, serving(talkative("True", true)));
    EXPECT_FALSE(server.established());
    inspect(server);
}

TEST_F(LibrarySecrets, clearTextToATlsClientIsNotLogged) {
    const Listener listener;
    std::jthread peer([&] {
        const HostSocket accepted(acceptFrom(listener.handle()));
        sendBytes(accepted.handle(), fromServer);
        waitReadable({accepted.handle()}, 1000);
    });
    Peer client = connectPeer(listener.port(), talkative("True", true));
    EXPECT_FALSE(client.established());
    inspect(client);
}

TEST_F(LibrarySecrets, refusedOptionsRevealTheirValueOnly) {
    for (const char* option : {"UseEncryption", "MinimumSeverityToLog", "InjectLogLayers"}) {
        SharedLog log;
        const auto config = talkative("True", true).with(option, "Sometimes").load(log);
        try {
            instantiateSocketStrategy(log, *config);
            ADD_FAILURE() << option;
        } catch (const std::exception& refusal) {
            inspect(convertNarrowToWide(refusal.what()));
        }
        for (const LogLine& line : log.lines()) {
            inspect(line.text);
        }
    }
}

// Doesn't search its lines for keys, since some are expected here.
class UnsearchedLog : public CollectingLog {
public:
    void log(Severity severity, const std::wstring& text) override {
        lines.push_back({severity, text});
    }
};

// A path of a wrong file: at Debug, lines that are not options are logged unchanged, so an
// administrator must check the paths before enabling Debug. No other line repeats them.
TEST_F(LibrarySecrets, keyAndPasswordFilesReadAsConfigurationsAreLoggedAtDebugOnly) {
    std::size_t repeated = 0;
    for (const char* name : {"my/good.key", "my/good.pem", "my/closed.key", "my/spoiled.pem",
                             "my/boxed.p12", "my/boxed.p12.password", "my/wrong.p12.password"}) {
        UnsearchedLog log;
        constructSslConfigurationFromIniFile(log, folder.path(name), L"Marked");
        const auto ini = temporaryFolder() / "misled.ini";
        std::ofstream(ini) << "[VexaSsl]\nConfigurationStore=" << folder.path(name).string()
                           << "\n";
        constructSslConfigurationFromIniFile(log, ini, L"Marked");
        for (const LogLine& line : log.lines) {
            const bool quotes = line.text.starts_with(L"Ignoring ");
            EXPECT_TRUE(!quotes || line.severity == Severity::Debug) << line;
            if (!quotes) {
                inspect(line.text);
            } else {
                repeated += folder.secrets.foundIn(line.text).empty() ? 0 : 1;
            }
        }
    }
    EXPECT_GT(repeated, 0U);
}

} // namespace
} // namespace VexaSsl::test
