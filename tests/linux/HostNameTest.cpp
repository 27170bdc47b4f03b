// The machine's name from the hosts file.
#include "platform/linux/base/HostName.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

namespace VexaSsl::test {
namespace {

using linux::canonicalNameIn;

TEST(HostsFile, firstNameOfTheHostsLineIsCanonical) {
    EXPECT_EQ(canonicalNameIn("127.0.1.1 box.shop.example box\n", "box"), "box.shop.example");
}

TEST(HostsFile, hostNameIgnoresCase) {
    EXPECT_EQ(canonicalNameIn("127.0.1.1 Box.shop.example BOX", "box"), "Box.shop.example");
}

TEST(HostsFile, commentsSpacesAndCarriageReturnsAreIgnored) {
    EXPECT_EQ(
        canonicalNameIn("#127.0.1.1 no.example box\n\n  10.0.0.1\tbox.example\t box\r\n", "box"),
        "box.example");
    EXPECT_EQ(canonicalNameIn("10.0.0.1 no.example other # box\n", "box"), "");
}

TEST(HostsFile, nameWithoutDotIsSkipped) {
    EXPECT_EQ(canonicalNameIn("127.0.0.1 box\n10.0.0.1 box.example box\n", "box"), "box.example");
    EXPECT_EQ(canonicalNameIn("127.0.0.1 localhost box\n", "box"), "");
}

TEST(HostsFile, localhostIsSkipped) {
    EXPECT_EQ(canonicalNameIn("127.0.0.1 localhost.localdomain localhost box\n", "box"), "");
}

TEST(HostsFile, partOfNameDoesNotMatch) {
    EXPECT_EQ(canonicalNameIn("10.0.0.1 toolbox.example toolbox\n", "box"), "");
}

TEST(HostsFile, lineWithoutNamesGivesNoName) {
    EXPECT_EQ(canonicalNameIn("box\n", "box"), "");
    EXPECT_EQ(canonicalNameIn("", "box"), "");
}

// Runs where the account may set a host name in a new namespace.
TEST(FullyQualifiedHostName, hostNameWithDotIsFullyQualified) {
    const pid_t child = fork();
    if (child == 0) {
        constexpr int notPermitted = 2;
        const std::string name = "box.shop.example";
        if (unshare(CLONE_NEWUTS) != 0 || sethostname(name.data(), name.size()) != 0) {
            _exit(notPermitted);
        }
        _exit(linux::fullyQualifiedHostName() == name ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2) {
        GTEST_SKIP() << "this account cannot set a host name in a namespace";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(FullyQualifiedHostName, hostNameWithoutDotIsLookedUpInTheHostsFile) {
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    if (std::string(host).find('.') != std::string::npos) {
        GTEST_SKIP() << "this machine's host name has a dot";
    }
    std::ifstream file("/etc/hosts");
    const std::string hosts{std::istreambuf_iterator<char>(file), {}};
    const std::string canonical = canonicalNameIn(hosts, host);
    EXPECT_EQ(linux::fullyQualifiedHostName(), canonical.empty() ? host : canonical);
}

} // namespace
} // namespace VexaSsl::test
