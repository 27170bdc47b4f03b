#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

namespace VexaSsl::test {

namespace {

const Words tool = {VEXASSL_TOOL};

} // namespace

Words configured(const Options& options) {
    const auto store = freshFile(".store");
    std::ofstream stream(store);
    stream << "[Connections]\nTested=Section\n\n[Section]\n";
    for (const auto& [name, value] : options) {
        stream << name << "=" << value << "\n";
    }
    const auto ini = freshFile(".ini");
    std::ofstream(ini) << "[VexaSsl]\nConfigurationStore=" << store.string() << "\n";
    return {"--ini",  ini.string(),     "--connection",
            "Tested", "--certificates", pki::folder().string()};
}

Words plainText() {
    return {};
}

Words secureServer(const std::string& certificate, const Options& more) {
    Options options = more;
    options.emplace("UseEncryption", "True");
    options.emplace("ServerCertificateToSendName", certificate);
    return configured(options);
}

Words secureClient(const Options& more) {
    Options options = more;
    options.emplace("UseEncryption", "True");
    return configured(options);
}

RunningServer::RunningServer(const Words& arguments, const Words& before)
    : program(before + tool + Words{"serve", "--port", "0"} + arguments) {
    if (!program.shows("\n")) {
        throw std::runtime_error("no server: " + program.errors());
    }
    const std::string line = program.output();
    boundPort = static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
}

std::string RunningServer::target(const std::string& host) const {
    return host + ":" + std::to_string(boundPort);
}

ForeignServer::ForeignServer(const Words& more, const std::string& version)
    : program(Words{"openssl", "s_server", "-accept", "0", "-rev", version, "-cert",
                    pki::file("server-rsa", "cert").string(), "-key",
                    pki::file("server-rsa", "key").string(), "-CAfile",
                    pki::file("authority", "cert").string()} +
                  more,
              Command::Input::open()) {
    EXPECT_TRUE(program.shows("ACCEPT ")) << program.errors();
    EXPECT_TRUE(program.shows("\n"));
    const std::string output = program.output();
    boundPort = std::stoi(output.substr(output.rfind(':') + 1));
}

Words connectTo(const std::string& target, const Words& arguments) {
    return tool + Words{"connect", target} + arguments;
}

Outcome runToEnd(Command& command) {
    const int status = command.exitStatus();
    return {status, command.output(), command.errors()};
}

Outcome runTool(const Words& arguments, const Command::Input& input) {
    Command command(tool + arguments, input);
    return runToEnd(command);
}

Words boundByPermissions() {
    return ::geteuid() == 0 ? Words{"setpriv", "--bounding-set=-dac_override,-dac_read_search"}
                            : Words{};
}

int failureLines(const std::string& errors) {
    std::istringstream stream(errors);
    int count = 0;
    for (std::string line; std::getline(stream, line);) {
        const bool isNote = line.starts_with("vexassl: note: ");
        count += line.starts_with("vexassl: ") && !isNote ? 1 : 0;
    }
    return count;
}

} // namespace VexaSsl::test
