// A server whose user can't read its private key. root can read every file, so the server runs in a
// process of another user, with the key in a separate file.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "integration/support/Pki.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace VexaSsl::test {
namespace {

namespace fs = std::filesystem;

// A certificate folder with one server, whose key file only its owner may read.
fs::path folderWithAClosedKey() {
    const fs::path folder = temporaryFolder() / "closed";
    const fs::path entry = folder / "my";
    fs::create_directories(entry);
    fs::copy_file(pki::file("server-ecdsa", "cert"), entry / "server.pem");
    fs::copy_file(pki::file("server-ecdsa", "key"), entry / "server.key");
    fs::permissions(entry / "server.pem", fs::perms::owner_read | fs::perms::others_read);
    fs::permissions(entry / "server.key", fs::perms::owner_read);
    for (const fs::path& open : {temporaryFolder(), folder, entry}) {
        fs::permissions(open,
                        fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    }
    return folder;
}

// Accepts one connection in the process of the other user. Returns the lines of its log.
std::string linesOfOneAnswer(const Listener& listener, const IConfig& config) {
    SharedLog log;
    const auto stack = instantiateSocketStrategy(log, config);
    sockaddr_storage address{};
    int length = sizeof address;
    const SOCKET socket =
        stack->accept(listener.handle(), reinterpret_cast<sockaddr*>(&address), &length);
    const int error = platform::WSAGetLastError();
    if (socket != INVALID_SOCKET || error != WSAECONNABORTED) {
        return "the connection was not aborted";
    }
    std::string said;
    for (const LogLine& line : log.linesFrom(Severity::Info)) {
        said += std::to_string(static_cast<int>(line.severity)) + ' ' +
                convertWideToNarrow(line.text) + '\n';
    }
    return said;
}

TEST(UnreadableKey, connectionFailsAndTheLogNamesTheUserAndTheRemedy) {
    VEXASSL_NEEDS_ABILITY(Ability::actAsAnotherUser);
    pki::use(folderWithAClosedKey());
    SharedLog log;
    const auto config = Settings::serverSending(pki::localhostElliptic).load(log);
    const Listener listener;
    const HostSocket caller = rawConnection(listener.port());
    const auto said = runAsAnotherUser([&] { return linesOfOneAnswer(listener, *config); });
    pki::use(pki::folder());
    ASSERT_TRUE(said.has_value());
    EXPECT_THAT(*said,
                ::testing::MatchesRegex(
                    "4 AcquireCredentialsHandle failed with: 2148074253 \\([^\n]*\\)\n"
                    "2 AcquireCredentialsHandle failed with \\[SEC_E_UNKNOWN_CREDENTIALS\\]. "
                    "Probable cause: user \\[nobody\\] requires read access to the certificate "
                    "private key.\n"
                    "4 Can't establish a security context. aquire credentials failed\n"));
}

} // namespace
} // namespace VexaSsl::test
