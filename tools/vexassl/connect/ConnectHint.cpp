#include "connect/ConnectHint.h"

#include "common/Text.h"

#include <string>

namespace VexaSsl::tool {

namespace {

std::string flag(const char* name, const std::string& value) {
    return value.empty() ? std::string() : std::string(" ") + name + " " + shellWord(value);
}

// What the peer sends, and what is wrong with it.
std::string explanation(const ConnectOptions& options) {
    return "vexassl explain " + shellWord(options.target) + flag("--starttls", options.startTls) +
           flag("--name", options.tls.name) + flag("--root", options.tls.files.root) +
           flag("--certificates", options.connection.certificates);
}

// What we send, and what is wrong with it.
std::string check(const ConnectOptions& options) {
    return "vexassl check --ini " + shellWord(options.connection.iniFile) +
           flag("--connection", options.connection.connectionName) + " --role client" +
           flag("--certificates", options.connection.certificates);
}

} // namespace

std::string hintFor(const ConnectOptions& options, ExitStatus status) {
    const bool hasIni = !options.connection.iniFile.empty();
    switch (status) {
    case ExitStatus::Handshake:
    case ExitStatus::PeerNotTrusted:
    case ExitStatus::NameMismatch:
        return hasIni || options.tls.enabled ? explanation(options) : "";
    case ExitStatus::OwnCertificate:
    case ExitStatus::RefusedByPeer:
        return hasIni ? check(options) : "";
    default:
        return "";
    }
}

} // namespace VexaSsl::tool
