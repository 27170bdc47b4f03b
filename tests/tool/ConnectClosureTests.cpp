// What a peer sends right before it closes its TLS stream must come out, although the two often
// arrive in one read.
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

TEST(ConnectClosure, whatCameInOneReadWithTheClosureIsPrinted) {
    // Answers a line and closes at once, in good order.
    Command foreign({"openssl", "s_server", "-accept", "0", "-www", "-tls1_2", "-cert",
                     pki::file("server-rsa", "cert").string(), "-key",
                     pki::file("server-rsa", "key").string()},
                    Command::Input::open());
    ASSERT_TRUE(foreign.shows("ACCEPT ")) << foreign.errors();
    ASSERT_TRUE(foreign.shows("\n"));
    const std::string output = foreign.output();
    const std::string port = std::to_string(std::stoi(output.substr(output.rfind(':') + 1)));
    for (int i = 0; i < 5; ++i) {
        Command client(connectTo("localhost:" + port, secureClient()), Command::Input::open());
        client.say("GET / HTTP/1.0\r\n\r\n");
        EXPECT_EQ(client.exitStatus(), 0) << client.errors();
        EXPECT_THAT(client.output(), ::testing::EndsWith("</BODY></HTML>\r\n\r\n"));
    }
}

} // namespace
} // namespace VexaSsl::test
