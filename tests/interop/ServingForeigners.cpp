#include "interop/ServingForeigners.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {

void converse(Peer& server, Program& program) {
    ASSERT_TRUE(program.sendAll("from the foreign side\n"));
    EXPECT_EQ(server.receiveAll(22), "from the foreign side\n");
    ASSERT_TRUE(server.sendAll("from our side\n"));
    EXPECT_TRUE(program.shows("from our side")) << program.output();
}

const std::string page = "<p>hello</p>\n";

void answerRequest(Peer& server) {
    std::string request;
    while (request.find("\r\n\r\n") == std::string::npos) {
        const auto part = server.receive(4096);
        ASSERT_TRUE(part && !part->empty());
        request += *part;
    }
    EXPECT_THAT(request, ::testing::HasSubstr("GET / HTTP/1.1"));
    EXPECT_TRUE(server.sendAll("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " +
                               std::to_string(page.size()) + "\r\n\r\n" + page));
}

} // namespace VexaSsl::test
