// The two ends of a dialog in the clear, without any library: a server that plays a
// script to vexassl connect, and a client that says what it likes to vexassl serve.
#pragma once

#include "integration/support/HostSocket.h"
#include "tool/Tool.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace VexaSsl::test {

// A configuration of a connection that begins in the clear.
Words switchable(const Options& more = {});
Words switchableServer(const std::string& certificate = pki::localhost, const Options& more = {});

// One step of a script: what the server waits for, then what it says.
struct Line {
    std::string heard;
    std::string said;
};

// Plays a script to one client, then ends its side of the connection or, when it stays silent,
// waits until the client ends.
class ScriptedServer {
public:
    enum class Ending { closes, staysSilent };

    explicit ScriptedServer(std::vector<Line> lines, Ending ending = Ending::staysSilent);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::string target() const;
    // Waits for the end of the play. Everything that the client has said.
    std::string heard();

private:
    void play();

    std::vector<Line> script;
    Ending ending;
    Listener listener;
    std::string said;
    std::thread thread;
};

// A client in the clear.
class ClearClient {
public:
    explicit ClearClient(std::uint16_t port) : socket(rawConnection(port)) {}

    void say(std::string_view text);
    // Reads until the text has come; what came so far when the connection ended without it.
    std::string hear(std::string_view text);
    // Reads to the end of the connection.
    std::string hearToTheEnd();

private:
    HostSocket socket;
};

} // namespace VexaSsl::test
