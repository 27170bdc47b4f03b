// Memory that connections free contains nothing of their data, of handshake messages, keys and
// passwords.
#include "integration/memory/FreedMemory.h"
#include "fakes/Sweep.h"
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace VexaSsl::test {
namespace {

constexpr std::string_view secret =
    "what nobody may find afterwards: 31415926535897932384626433832795";

// The host's memory is not freed during the watch.
std::array<char, 40000> outgoing;
std::array<char, 40000> incoming;

void fillOutgoing() {
    for (std::size_t i = 0; i + secret.size() <= outgoing.size(); i += secret.size()) {
        std::copy(secret.begin(), secret.end(), outgoing.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

bool send(Peer& peer, std::size_t size) {
    return peer.stack->send(peer.socket.handle(), outgoing.data(), static_cast<int>(size), 0) ==
           static_cast<int>(size);
}

// Receives in pieces of at most the given size. Returns whether everything arrived as sent.
bool receive(Peer& peer, std::size_t size, std::size_t piece) {
    std::size_t have = 0;
    while (have < size) {
        const int count = peer.stack->recv(peer.socket.handle(), incoming.data() + have,
                                           static_cast<int>(std::min(piece, size - have)), 0);
        if (count <= 0) {
            return false;
        }
        have += static_cast<std::size_t>(count);
    }
    return std::equal(incoming.begin(), incoming.begin() + static_cast<std::ptrdiff_t>(size),
                      outgoing.begin());
}

void expectNoTrace(const FreedMemoryWatch& watch, const std::string& what) {
    EXPECT_EQ(watch.traces(), 0U) << what;
    EXPECT_GT(watch.blocks(), 100U) << "too few blocks for a connection";
    reportFigure("Memory", what + ": " + std::to_string(watch.traces()) + " traces in " +
                               std::to_string(watch.blocks()) + " freed blocks");
}

std::string contentOf(const std::filesystem::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

// The beginning of a certificate in the handshake: its length in three bytes, then the certificate.
// That is public and may be kept elsewhere, but only the handshake message has the length.
std::string passing(const std::string& name) {
    const std::filesystem::path file = temporaryFolder() / "encoded";
    const std::string command = "openssl x509 -outform der -in '" +
                                pki::file(name, "cert").string() + "' -out '" + file.string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    const std::string encoded = contentOf(file);
    EXPECT_GT(encoded.size(), 256U);
    const std::size_t size = encoded.size();
    return std::string{'\0', static_cast<char>(size >> 8), static_cast<char>(size & 0xFF)} +
           encoded.substr(0, 60);
}

TEST(FreedMemory, traceIsFound) {
    const FreedMemoryWatch watch(secret);
    { const std::string copy(secret); }
    EXPECT_EQ(watch.traces(), 1U);
}

TEST(FreedMemory, hasNoPlaintextHoweverItIsReceived) {
    fillOutgoing();
    const FreedMemoryWatch watch(secret);
    for (const std::size_t piece : {std::size_t{100}, std::size_t{7000}, incoming.size()}) {
        ConnectedPair pair = connectEncrypted();
        ASSERT_TRUE(pair.established());
        ASSERT_TRUE(send(pair.client, outgoing.size()));
        ASSERT_TRUE(receive(pair.server, outgoing.size(), piece));
        ASSERT_TRUE(send(pair.server, 500));
        ASSERT_EQ(pair.client.readable(timeoutSeconds), 1); // decrypts the record
        ASSERT_TRUE(receive(pair.client, 500, 500));
    }
    expectNoTrace(watch, "plaintext received");
}

TEST(FreedMemory, hasNoPlaintextOfAnAbandonedConnection) {
    fillOutgoing();
    const FreedMemoryWatch watch(secret);
    {
        ConnectedPair pair = connectEncrypted();
        ASSERT_TRUE(pair.established());
        ASSERT_TRUE(send(pair.client, outgoing.size()));
        ASSERT_TRUE(receive(pair.server, 10, 10)); // the rest of the record is held
    }
    expectNoTrace(watch, "plaintext never asked for");
}

// The certificate is sent in clear text, so the client buffers these bytes.
TEST(FreedMemory, hasNoHandshakeMessages) {
    const std::string bytes = passing("server-rsa");
    const FreedMemoryWatch watch(bytes);
    {
        ConnectedPair pair = connectEncrypted();
        ASSERT_TRUE(pair.established());
    }
    expectNoTrace(watch, "handshake bytes");
}

TEST(FreedMemory, hasNoMessagesOfAFailedHandshake) {
    const std::string bytes = passing("untrusted");
    const FreedMemoryWatch watch(bytes);
    {
        const ConnectedPair pair = connectPair(
            {.client = Settings::encrypted(), .server = Settings::serverSending(pki::untrusted)});
        ASSERT_FALSE(pair.client.established());
    }
    expectNoTrace(watch, "handshake bytes of a refused server");
}

// A separate store, so that its files are read during the watch.
class StoreOfItsOwn {
public:
    StoreOfItsOwn() {
        std::filesystem::create_directories(folder / "my");
        std::filesystem::copy(pki::folder() / "root", folder / "root");
    }
    ~StoreOfItsOwn() {
        pki::use(pki::folder());
        std::filesystem::remove_all(folder);
    }
    StoreOfItsOwn(const StoreOfItsOwn&) = delete;
    StoreOfItsOwn& operator=(const StoreOfItsOwn&) = delete;

    const std::filesystem::path folder = temporaryFolder() / "store";
};

TEST(FreedMemory, hasNoKeyFile) {
    const StoreOfItsOwn store;
    std::filesystem::copy(pki::folder() / "my" / "server-rsa.pem", store.folder / "my");
    const std::string keyText = contentOf(pki::file("server-rsa", "key")).substr(300, 60);
    const FreedMemoryWatch watch(keyText);
    {
        pki::use(store.folder);
        const ConnectedPair pair = connectEncrypted();
        ASSERT_TRUE(pair.established());
    }
    expectNoTrace(watch, "text of a key file");
}

TEST(FreedMemory, hasNoPassword) {
    static const std::string password = "a password of more than a few characters";
    const StoreOfItsOwn store;
    const std::string file = (store.folder / "my" / "server.p12").string();
    const std::string command = "openssl pkcs12 -export -inkey '" +
                                pki::file("server-rsa", "key").string() + "' -in '" +
                                pki::file("server-rsa", "cert").string() +
                                "' -passout 'pass:" + password + "' -out '" + file + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::ofstream(file + ".password") << password.c_str() << '\n' << std::flush;
    const FreedMemoryWatch watch(password);
    {
        pki::use(store.folder);
        const ConnectedPair pair = connectEncrypted();
        ASSERT_TRUE(pair.established());
    }
    expectNoTrace(watch, "password of a PKCS#12 file");
}

} // namespace
} // namespace VexaSsl::test
