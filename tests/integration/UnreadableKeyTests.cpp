// A server whose user may not read its private key. The superuser may read every file, so the
// server runs in a child process of another user, with the key in a file of its own.
#include "integration/support/LogMatchers.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"

#include "VexaPlatform/Certificates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>

namespace VexaSsl::test {
namespace {

namespace fs = std::filesystem;

constexpr uid_t nobody = 65534;

// A certificate folder with one server whose key lies in a file that only its owner reads.
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

void writeAll(int pipe, const std::wstring& text) {
    const std::string bytes = convertWideToNarrow(text) + "\n";
    EXPECT_EQ(::write(pipe, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

// The child: becomes the other user, answers one connection and tells its lines.
[[noreturn]] void serveAsAnother(const Listener& listener, const IConfig& config, int pipe) {
    SharedLog log;
    if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) {
        ::_exit(3);
    }
    const auto stack = instantiateSocketStrategy(log, config);
    sockaddr_storage address{};
    int length = sizeof address;
    const SOCKET socket =
        stack->accept(listener.handle(), reinterpret_cast<sockaddr*>(&address), &length);
    const int error = platform::WSAGetLastError();
    for (const LogLine& line : log.linesFrom(Severity::Info)) {
        writeAll(pipe, std::to_wstring(static_cast<int>(line.severity)) + L" " + line.text);
    }
    ::_exit(socket == INVALID_SOCKET && error == WSAECONNABORTED ? 0 : 4);
}

std::string readAll(int pipe) {
    std::string text;
    std::array<char, 4096> buffer;
    for (ssize_t got = 0; (got = ::read(pipe, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return text;
}

TEST(UnreadableKey, theConnectionFailsAndTheLogNamesTheUserAndTheRemedy) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can start a server as another user";
    }
    platform::setCertificateFolder(folderWithAClosedKey());
    SharedLog log;
    const auto config = Settings::serverSending(pki::localhostElliptic).load(log);
    const Listener listener;
    const HostSocket caller = rawConnection(listener.port());
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        serveAsAnother(listener, *config, pipe[1]);
    }
    ::close(pipe[1]);
    const std::string told = readAll(pipe[0]);
    ::close(pipe[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    platform::setCertificateFolder(pki::folder());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_THAT(told,
                ::testing::MatchesRegex(
                    "4 AcquireCredentialsHandle failed with: 2148074253 \\([^\n]*\\)\n"
                    "2 AcquireCredentialsHandle failed with \\[SEC_E_UNKNOWN_CREDENTIALS\\]. "
                    "Probable cause: user \\[nobody\\] requires read access to the certificate "
                    "private key.\n"
                    "4 Can't establish a security context. aquire credentials failed\n"));
}

} // namespace
} // namespace VexaSsl::test
