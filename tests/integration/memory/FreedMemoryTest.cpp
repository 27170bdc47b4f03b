// What connections leave in the memory that they free: nothing of what they carried, of the
// handshake's bytes, of keys and of passwords.
#include "integration/memory/FreedMemory.h"
#include "fakes/Sweep.h"
#include "integration/support/Meeting.h"
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

// The host's own memory is no block that is freed meanwhile.
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

// In pieces of at most the given size. Result: all came, as it was sent.
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
    EXPECT_GT(watch.blocks(), 100U) << "nothing of a connection was seen";
    reportFigure("Memory", what + ": " + std::to_string(watch.traces()) + " traces in " +
                               std::to_string(watch.blocks()) + " freed blocks");
}

std::string contentOf(const std::filesystem::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

// Where a certificate begins in the handshake: its length in three bytes, then itself. It is public
// and may be kept, but only the bytes as they came have the length in front.
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

TEST(FreedMemory, aTraceIsFound) {
    const FreedMemoryWatch watch(secret);
    { const std::string copy(secret); }
    EXPECT_EQ(watch.traces(), 1U);
}

TEST(FreedMemory, holdsNoPlaintextHoweverItIsReceived) {
    fillOutgoing();
    const FreedMemoryWatch watch(secret);
    for (const std::size_t piece : {std::size_t{100}, std::size_t{7000}, incoming.size()}) {
        Meeting meeting = meetEncrypted();
        ASSERT_TRUE(meeting.established());
        ASSERT_TRUE(send(meeting.client, outgoing.size()));
        ASSERT_TRUE(receive(meeting.server, outgoing.size(), piece));
        ASSERT_TRUE(send(meeting.server, 500));
        ASSERT_EQ(meeting.client.readable(patienceSeconds), 1); // decrypts to find out
        ASSERT_TRUE(receive(meeting.client, 500, 500));
    }
    expectNoTrace(watch, "plaintext received");
}

TEST(FreedMemory, holdsNoPlaintextOfAConnectionThatIsGivenUp) {
    fillOutgoing();
    const FreedMemoryWatch watch(secret);
    {
        Meeting meeting = meetEncrypted();
        ASSERT_TRUE(meeting.established());
        ASSERT_TRUE(send(meeting.client, outgoing.size()));
        ASSERT_TRUE(receive(meeting.server, 10, 10)); // the rest of the record stays inside
    }
    expectNoTrace(watch, "plaintext never asked for");
}

// The certificate passes in the clear, so the client collects these very bytes.
TEST(FreedMemory, holdsNothingOfAHandshake) {
    const std::string bytes = passing("server-rsa");
    const FreedMemoryWatch watch(bytes);
    {
        Meeting meeting = meetEncrypted();
        ASSERT_TRUE(meeting.established());
    }
    expectNoTrace(watch, "handshake bytes");
}

TEST(FreedMemory, holdsNothingOfAHandshakeThatFails) {
    const std::string bytes = passing("untrusted");
    const FreedMemoryWatch watch(bytes);
    {
        const Meeting meeting = meet(
            {.client = Settings::encrypted(), .server = Settings::serverSending(pki::untrusted)});
        ASSERT_FALSE(meeting.client.established());
    }
    expectNoTrace(watch, "handshake bytes of a refused server");
}

// A store of its own, so that its files are read within the watch.
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

TEST(FreedMemory, holdsNothingOfAKeyFile) {
    const StoreOfItsOwn store;
    std::filesystem::copy(pki::folder() / "my" / "server-rsa.pem", store.folder / "my");
    const std::string keyText = contentOf(pki::file("server-rsa", "key")).substr(300, 60);
    const FreedMemoryWatch watch(keyText);
    {
        pki::use(store.folder);
        const Meeting meeting = meetEncrypted();
        ASSERT_TRUE(meeting.established());
    }
    expectNoTrace(watch, "text of a key file");
}

TEST(FreedMemory, holdsNothingOfAPassword) {
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
        const Meeting meeting = meetEncrypted();
        ASSERT_TRUE(meeting.established());
    }
    expectNoTrace(watch, "password of a PKCS#12 file");
}

} // namespace
} // namespace VexaSsl::test
