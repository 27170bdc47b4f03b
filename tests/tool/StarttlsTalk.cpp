#include "tool/StarttlsTalk.h"

#include <stdexcept>
#include <utility>

namespace VexaSsl::test {

namespace {

// Adds one read to the text. Returns false at the end and after the time limit.
bool hearMore(const HostSocket& socket, std::string& text) {
    char buffer[4096];
    const int count = receiveBytes(socket.handle(), buffer, sizeof buffer);
    if (count <= 0) {
        return false;
    }
    text.append(buffer, static_cast<std::size_t>(count));
    return true;
}

} // namespace

Words switchable(const Options& more) {
    Options options = more;
    options.emplace("UseEncryption", "Opportunistically");
    return configured(options);
}

Words switchableServer(const std::string& certificate, const Options& more) {
    Options options = more;
    options.emplace("ServerCertificateToSendName", certificate);
    return switchable(options);
}

ScriptedServer::ScriptedServer(std::vector<Line> lines, Ending how)
    : script(std::move(lines)), ending(how), thread([this] { play(); }) {}

ScriptedServer::~ScriptedServer() {
    if (thread.joinable()) {
        thread.join();
    }
}

std::string ScriptedServer::target() const {
    return "localhost:" + std::to_string(listener.port());
}

std::string ScriptedServer::heard() {
    thread.join();
    return said;
}

void ScriptedServer::play() {
    if (waitReadable({listener.handle()}, 1000 * timeoutSeconds) == 0) {
        return;
    }
    const HostSocket client(acceptFrom(listener.handle()));
    setTimeouts(client.handle());
    std::size_t from = 0;
    for (const Line& line : script) {
        while (said.find(line.heard, from) == std::string::npos) {
            if (!hearMore(client, said)) {
                return;
            }
        }
        from = said.find(line.heard, from) + line.heard.size();
        if (sendBytes(client.handle(), line.said) < 0) {
            return;
        }
    }
    if (ending == Ending::staysSilent) {
        while (hearMore(client, said)) {
        }
    }
}

void ClearClient::say(std::string_view text) {
    if (sendBytes(socket.handle(), text) != static_cast<int>(text.size())) {
        throw std::runtime_error("the server doesn't listen");
    }
}

std::string ClearClient::hear(std::string_view text) {
    std::string answer;
    while (answer.find(text) == std::string::npos && hearMore(socket, answer)) {
    }
    return answer;
}

std::string ClearClient::hearToTheEnd() {
    std::string answer;
    while (hearMore(socket, answer)) {
    }
    return answer;
}

} // namespace VexaSsl::test
