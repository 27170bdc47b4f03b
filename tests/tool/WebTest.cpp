// vexassl serve --www, with curl and with requests that no browser sends.
#include "integration/support/HostSocket.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

namespace VexaSsl::test {
namespace {

Outcome curl(const std::string& url, const Words& more = {}) {
    Command command(Words{"curl", "--silent", "--show-error", "--noproxy", "*", "--max-time", "30",
                          "--cacert", pki::file("authority", "cert").string(), url} +
                    more);
    return runToEnd(command);
}

std::string answerTo(const RunningServer& server, const std::string& request) {
    const HostSocket socket = rawConnection(server.port());
    ::send(socket.descriptor(), request.data(), request.size(), MSG_NOSIGNAL);
    std::string answer;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::recv(socket.descriptor(), buffer, sizeof buffer, 0)) > 0) {
        answer.append(buffer, static_cast<std::size_t>(count));
    }
    return answer;
}

TEST(Web, curlReadsThePageOverTls) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + Words{"--www"} + more);
        const Outcome outcome = curl("https://" + server.target() + "/facts?a=1", {"--fail"});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_NE(outcome.output.find("<th>UseEncryption</th><td>True</td>"), std::string::npos);
        EXPECT_NE(outcome.output.find("GET /facts?a=1 HTTP/1.1"), std::string::npos);
    }
}

TEST(Web, curlReadsThePageInTheClear) {
    RunningServer server(Words{"--www"});
    const Outcome outcome = curl("http://127.0.0.1:" + std::to_string(server.port()), {"--fail"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_NE(outcome.output.find("<th>UseEncryption</th><td>False</td>"), std::string::npos);
}

TEST(Web, severalRequestsOfOneCurl) {
    RunningServer server(secureServer() + Words{"--www"});
    const std::string url = "https://" + server.target() + "/";
    const Outcome outcome = curl(url, {url, url, "--fail"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_NE(outcome.output.find("<th>connection</th><td>3</td>"), std::string::npos);
}

TEST(Web, headHasTheLengthAndNoPage) {
    RunningServer server(Words{"--www"});
    const std::string answer = answerTo(server, "HEAD / HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 200 OK\r\n")) << answer;
    EXPECT_NE(answer.find("\r\nContent-Length: "), std::string::npos);
    EXPECT_NE(answer.find("\r\nConnection: close\r\n"), std::string::npos);
    EXPECT_TRUE(answer.ends_with("\r\n\r\n")) << answer;
}

TEST(Web, otherMethodsAreNotAllowed) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(secureServer() + Words{"--www"} + more);
        const Outcome outcome =
            curl("https://" + server.target() + "/",
                 {"--data", std::string(100000, 'd'), "--write-out", "%{http_code}"});
        EXPECT_NE(outcome.output.find("405"), std::string::npos) << outcome.errors;
    }
}

TEST(Web, invalidRequestIsABadRequest) {
    RunningServer server(Words{"--www"});
    for (const char* request : {"\r\n\r\n", "GET\r\n\r\n", "GET /\r\n\r\n", "GET / FTP/1.0\r\n\r\n",
                                "nonsense \r\n\r\n"}) {
        EXPECT_TRUE(answerTo(server, request).starts_with("HTTP/1.1 400 Bad Request\r\n"))
            << request;
    }
}

TEST(Web, endlessHeadIsTooLarge) {
    for (const Words& more : {Words{}, Words{"--overlapped"}}) {
        RunningServer server(Words{"--www"} + more);
        const std::string answer =
            answerTo(server, "GET / HTTP/1.1\r\nX: " + std::string(40000, 'x'));
        EXPECT_TRUE(answer.starts_with("HTTP/1.1 431 Request Header Fields Too Large\r\n"))
            << answer;
    }
}

TEST(Web, markupInARequestIsShownAsText) {
    RunningServer server(Words{"--www"});
    const std::string answer =
        answerTo(server, "GET /<script>\"&'\x07 HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ(answer.find("<script>"), std::string::npos) << answer;
    EXPECT_NE(answer.find("&lt;script&gt;&quot;&amp;'?"), std::string::npos) << answer;
}

} // namespace
} // namespace VexaSsl::test
