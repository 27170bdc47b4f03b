#include "interop/Peers.h"

#include <cstdlib>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

std::string authority() {
    return pki::folder() / "root" / "authority.pem";
}

// Without these options its output is buffered.
const Words lineByLine = {"stdbuf", "-oL"};

std::unique_ptr<Program> start(Words command, const Words& more) {
    command.insert(command.end(), more.begin(), more.end());
    return std::make_unique<Program>(command);
}

Words joined(Words first, const Words& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

} // namespace

Words openSslIdentity(const std::string& name) {
    return {"-cert",       pki::file(name, "cert"), "-key", pki::file(name, "key"),
            "-cert_chain", pki::file(name, "chain")};
}

Words gnuTlsIdentity(const std::string& name) {
    return {"--x509certfile=" + pki::file(name, "chain").string(),
            "--x509keyfile=" + pki::file(name, "key").string()};
}

Words curlIdentity(const std::string& name) {
    return {"--cert", pki::file(name, "chain"), "--key", pki::file(name, "key")};
}

std::unique_ptr<Program> openSslClient(std::uint16_t port, const Words& more) {
    return start({"openssl", "s_client", "-connect", "127.0.0.1:" + std::to_string(port),
                  "-servername", "localhost", "-CAfile", authority(), "-verify_hostname",
                  "localhost", "-verify_return_error"},
                 more);
}

std::unique_ptr<Program> gnuTlsClient(std::uint16_t port, const Words& more) {
    return start(joined(lineByLine, {"gnutls-cli", "--x509cafile=" + authority(),
                                     "--verify-hostname=localhost", "--sni-hostname=localhost",
                                     "--port=" + std::to_string(port), "127.0.0.1"}),
                 more);
}

std::unique_ptr<Program> curl(std::uint16_t port, const Words& more) {
    const std::string where = "localhost:" + std::to_string(port);
    return start({"curl", "--silent", "--show-error", "--cacert", authority(), "--connect-to",
                  where + ":127.0.0.1:" + std::to_string(port), "--max-time",
                  std::to_string(timeoutSeconds), "https://" + where + "/"},
                 more);
}

std::string asTestName(std::string text) {
    std::erase(text, '-');
    return text;
}

ForeignServer openSslServer(const std::string& name, const Words& more) {
    ForeignServer server;
    server.program =
        start(joined({"openssl", "s_server", "-accept", "127.0.0.1:0", "-CAfile", authority()},
                     openSslIdentity(name)),
              more);
    constexpr std::string_view ready = "ACCEPT 127.0.0.1:";
    if (!server.program->shows(ready) || !server.program->shows("\n")) {
        throw std::runtime_error("openssl s_server: " + server.program->output());
    }
    const std::string output = server.program->output();
    server.port =
        static_cast<std::uint16_t>(std::atoi(output.c_str() + output.find(ready) + ready.size()));
    return server;
}

ForeignServer gnuTlsServer(const std::string& name, const Words& more) {
    ForeignServer server;
    server.port = Listener().port(); // probably still free
    const Words service =
        joined(lineByLine, {"gnutls-serv", "--echo", "--nodb", "--x509cafile=" + authority(),
                            "--port=" + std::to_string(server.port)});
    server.program = start(joined(service, gnuTlsIdentity(name)), more);
    if (!server.program->shows("Echo Server listening on IPv4") ||
        !server.program->shows("done\n")) {
        throw std::runtime_error("gnutls-serv: " + server.program->output());
    }
    return server;
}

} // namespace VexaSsl::test
