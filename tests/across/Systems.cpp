#include "across/Systems.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

namespace fs = std::filesystem;

const fs::path certificates = VEXASSL_ACROSS_PKI;

fs::path windowsProgram(const std::string& name) {
    return fs::path(VEXASSL_WINDOWS_BUILD) / "bin" / (name + ".exe");
}

// Drive Z of Wine is the whole file system.
std::string pathFor(System system, const fs::path& path) {
    return (system == System::windowsSystem ? "Z:" : "") + path.string();
}

bool wineWorks() {
    static const bool works = std::system("WINEPREFIX=" VEXASSL_WINE_PREFIX " " VEXASSL_RUN_WINE
                                          " cmd /c exit >/dev/null 2>&1") == 0;
    return works;
}

} // namespace

std::string nameOf(System system) {
    return system == System::linuxSystem ? "Linux" : "Windows";
}

std::string whyNoWindows(const std::string& name) {
    if (!fs::exists(windowsProgram(name))) {
        return windowsProgram(name).string() + " is not built";
    }
    return wineWorks() ? "" : "there is no Wine that works; script/wine-setup makes one";
}

std::string certificateFile(const std::string& name, const std::string& kind) {
    return (certificates / "all" / name / (kind + ".pem")).string();
}

std::string authorityFile() {
    return (certificates / "root" / "authority.pem").string();
}

Options secure(Options more) {
    more.emplace("UseEncryption", "True");
    return more;
}

Options sending(const std::string& certificate, Options more) {
    more.emplace("ServerCertificateToSendName", certificate);
    return secure(std::move(more));
}

Words program(System system, const std::string& name) {
    if (system == System::linuxSystem) {
        return {fs::path(VEXASSL_TOOL).replace_filename(name).string()};
    }
    return {"env", "WINEPREFIX=" VEXASSL_WINE_PREFIX, VEXASSL_RUN_WINE,
            windowsProgram(name).string()};
}

Words iniAndConnection(System system, const Options& options) {
    const fs::path store = freshFile(".store");
    std::ofstream stream(store);
    stream << "[Connections]\nAcross=Section\n\n[Section]\n";
    for (const auto& [name, value] : options) {
        stream << name << "=" << value << "\n";
    }
    const fs::path ini = freshFile(".ini");
    std::ofstream(ini) << "[VexaSsl]\nConfigurationStore=" << pathFor(system, store) << "\n";
    return {pathFor(system, ini), "Across"};
}

Words tool(System system, const Words& command, const Options& options) {
    const Words configuration = iniAndConnection(system, options);
    Words words = program(system, "vexassl") + command +
                  Words{"--ini", configuration[0], "--connection", configuration[1]};
    if (system == System::linuxSystem) {
        words.insert(words.end(), {"--certificates", certificates.string()});
    }
    return words;
}

Server::Server(const Words& words) : program(words) {
    if (!program.shows("\n")) {
        throw std::runtime_error("no server: " + program.errors());
    }
    const std::string line = program.output();
    boundPort = static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
}

Server serve(System system, const Options& options, const Words& more) {
    return Server(tool(system, Words{"serve", "--port", "0"} + more, options));
}

} // namespace VexaSsl::test
