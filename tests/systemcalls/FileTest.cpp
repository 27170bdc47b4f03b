// Reading of files that is interrupted or fails: the ini file and the store, and the certificate
// folder, each read for the first time.
#include "integration/support/LogMatchers.h"
#include "integration/support/Pki.h"
#include "systemcalls/Steps.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <thread>

namespace VexaSsl::test {
namespace {

namespace files = std::filesystem;

// --- Configuration.

// A store that needs several reads, with the section searched for at its end.
files::path longConfiguration() {
    const auto store = temporaryFolder() / "long-store.ini";
    std::ofstream text(store);
    text << "[Connections]\nWanted=Last\n";
    for (int i = 0; i < 1000; ++i) {
        text << "[Section" << i << "]\nUseEncryption=False\n";
    }
    text << "[Last]\nUseEncryption=True\nMinimumSeverityToLog=Debug\n";
    const auto ini = temporaryFolder() / "long-host.ini";
    std::ofstream(ini) << "[VexaSsl]\nConfigurationStore=" << store.string() << '\n';
    return ini;
}

void playConfiguration(Play& play) {
    static const files::path ini = longConfiguration();
    std::wstring encryption;
    play.step("read", [&] {
        const auto config = constructSslConfigurationFromIniFile(play.log, ini, L"Wanted");
        encryption = config->getValue(L"UseEncryption");
        return encryption == L"True";
    });
    if (encryption != L"True" && encryption != L"False") {
        play.wrong = "a value that no file holds";
    }
}

// A file that can't be opened is logged and means no encryption. One whose reading fails is used up
// to there: if that is the store, whose end asks for encryption here, nothing is logged, and the
// result is no encryption, too.
void checkConfiguration(const Play& play) {
    if (play.plan.hitCall == "fopen64") {
        EXPECT_EQ(play.failedStep, "read");
        EXPECT_THAT(play.log.lines(), ::testing::Contains(warning(L"Can't open config file")));
        EXPECT_THAT(play.log.lines(), ::testing::Contains(warning(L"Reverting to NO ENCRYPTION")));
    } else if (play.plan.hitCall != "read") {
        EXPECT_TRUE(play.wentWell());
    }
}

TEST(SystemCalls, configurationIsReadCompletelyOrMeansNoEncryption) {
    sweep("ini file and store", playConfiguration, checkConfiguration);
}

// --- Certificates.

// A folder with few files, so that the sweep over its calls is short.
files::path fewCertificates(const std::string& name) {
    const files::path few = temporaryFolder() / name;
    for (const char* part : {"my", "root"}) {
        files::create_directories(few / part);
    }
    files::copy_file(pki::folder() / "root" / "authority.pem", few / "root" / "authority.pem");
    for (const char* file : {"server-ecdsa.pem", "client.pem"}) {
        files::copy_file(pki::folder() / "my" / file, few / "my" / file);
    }
    return few;
}

// Switches between two folders, so that cached files are read again.
void forgetCertificates() {
    static const files::path folders[] = {fewCertificates("one"), fewCertificates("other")};
    static int next = 0;
    pki::use(folders[next++ % 2]);
}

Settings client() {
    return Settings::encrypted();
}

Settings server() {
    return Settings::serverSending(pki::localhostElliptic);
}

// Missing files are read as soon as possible: the next connection succeeds.
void expectRecovery(Play& play) {
    if (!connectPair({.client = client(), .server = server()}).established()) {
        play.wrong = "the next connection failed too";
    }
}

void playPersonalStore(Play& play) {
    forgetCertificates();
    {
        std::jthread other;
        const Listener listener;
        Peer self = stackOf(play, server());
        other = std::jthread([port = listener.port()] { connectPeer(port, client()); });
        accepts(play, self, listener);
        ends(play, self);
        self.socket.close();
    }
    expectRecovery(play);
}

void playTrustStore(Play& play) {
    forgetCertificates();
    {
        const Listener listener;
        Peer self = stackOf(play, client());
        std::jthread other([&] { acceptPeer(listener, server()); });
        connects(play, self, listener);
        ends(play, self);
        self.socket.close();
        rawConnection(
            listener.port()); // so that the other end doesn't wait if nobody has connected
    }
    expectRecovery(play);
}

// An unreadable store is like an empty one: without its certificate or a trust anchor an end fails
// the connection and logs the reason.
void checkCertificates(const Play& play) {
    if (play.failedStep == "completeAcceptEx" ||
        (play.failedStep == "connect" && play.plan.hitCall != "connect")) {
        EXPECT_EQ(play.error, WSAECONNABORTED);
        EXPECT_FALSE(play.log.linesFrom(Severity::Error).empty());
    } else if (!play.failedStep.empty()) {
        EXPECT_NE(play.error, 0);
    }
}

TEST(SystemCalls, unreadablePersonalStoreFailsOneConnectionOnly) {
    sweep("certificate folder, personal store", playPersonalStore, checkCertificates);
}

TEST(SystemCalls, unreadableTrustStoreFailsOneConnectionOnly) {
    sweep("certificate folder, trust store", playTrustStore, checkCertificates);
}

} // namespace
} // namespace VexaSsl::test
