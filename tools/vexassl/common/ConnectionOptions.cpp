#include "common/ConnectionOptions.h"

#include "common/CertificateFolder.h"
#include "common/ExitStatus.h"
#include "common/Text.h"
#include "config/LogTexts.h"
#include "config/Vocabulary.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

namespace VexaSsl::tool {

namespace {

namespace Definition = ConfigurationDefinition;

constexpr CaseInsensitiveEqual isSameWord;

std::string reversionText(const ConnectionOptions& options, const Diagnosis& diagnosis) {
    const std::string reason = printableText(diagnosis.reversionReason());
    const std::filesystem::path path = pathOfText(options.iniFile);
    std::error_code unknown;
    if (std::filesystem::is_directory(path, unknown)) { // some systems open it like a file
        return "[" + options.iniFile + "] is a folder, no ini file";
    }
    if (!std::ifstream(path)) {
        return "cannot open the ini file [" + options.iniFile + "]";
    }
    if (reason == LogTexts::unopenedFile) {
        return "cannot open the configuration store that [" + options.iniFile + "] names";
    }
    return "configuration [" + options.iniFile + "]: " + reason;
}

const char* causeWords(ExitStatus status) {
    switch (status) {
    case ExitStatus::Usage:
        return "bad configuration";
    case ExitStatus::TimedOut:
        return "timed out";
    case ExitStatus::PeerNotTrusted:
        return "the peer's certificate is not trusted";
    case ExitStatus::NameMismatch:
        return "the peer's certificate is for another name";
    case ExitStatus::OwnCertificate:
        return "no usable certificate and key of our own";
    case ExitStatus::RefusedByPeer:
        return "the peer refused our certificate, or wants one";
    case ExitStatus::Success:
    case ExitStatus::CannotConnect:
    case ExitStatus::Handshake:
    case ExitStatus::CutShort:
    case ExitStatus::Warnings:
    case ExitStatus::Expiring:
        break;
    }
    return "no secure connection";
}

} // namespace

Flag certificatesFlag(std::string& target) {
    return {"--certificates", "DIR", "Folder of certificates, which contains my/ and root/",
            &target};
}

Flags connectionFlags(ConnectionOptions& options) {
    return {
        {"--ini", "FILE",
         "Ini file that names the configuration store; without it the defaults apply, which mean "
         "plain sockets",
         &options.iniFile},
        {.name = "--connection",
         .value = "NAME",
         .text = "Connection name to look up in the store",
         .target = &options.connectionName,
         .needs = "--ini"},
        certificatesFlag(options.certificates),
        {.name = "--timeout",
         .value = "SECONDS",
         .text = "Seconds for the handshake, and then for a silent peer; 0 means no limit",
         .target = &options.timeoutSeconds,
         .highest = 1000000},
        {"--quiet", "", "Show only failures on standard error", &options.quiet},
        {.name = "--verbose",
         .value = "",
         .text = "Show every line of the library, whatever MinimumSeverityToLog says",
         .target = &options.verbose,
         .excludes = "--quiet"},
    };
}

LoadedConfiguration::LoadedConfiguration(const ConnectionOptions& options, LinePrinter& printer)
    : log(printer) {
    useCertificateFolder(options.certificates);
    const std::wstring name = widenedBytes(options.connectionName);
    if (options.iniFile.empty()) {
        loaded = constructDefaultSslConfiguration(log, name);
        return;
    }
    loaded = constructSslConfigurationFromIniFile(log, pathOfText(options.iniFile), name);
    const Diagnosis diagnosis = log.diagnosis();
    if (diagnosis.revertedToPlain()) {
        throw Failure(ExitStatus::Usage, reversionText(options, diagnosis));
    }
}

bool isPlain(const IConfig& config) {
    return isSameWord(config.getValue(Definition::ConnectionOptions::UseEncryption),
                      Definition::Values::False);
}

bool isOpportunistic(const IConfig& config) {
    return isSameWord(config.getValue(Definition::ConnectionOptions::UseEncryption),
                      Definition::Values::Opportunistically);
}

bool hasLogLayers(const IConfig& config) {
    return isSameWord(config.getValue(Definition::ConnectionOptions::InjectLogLayers),
                      Definition::Values::True);
}

void warnOfClearText(const ConnectionOptions& options, const IConfig& config,
                     LinePrinter& printer) {
    if (options.iniFile.empty()) {
        return;
    }
    if (isPlain(config)) {
        printer.note("plain-text", "the configuration says UseEncryption=False for [" +
                                       options.connectionName +
                                       "], or nothing: this is plain text");
    }
    if (isOpportunistic(config)) {
        printer.note("never-switched",
                     "the configuration says UseEncryption=Opportunistically for [" +
                         options.connectionName + "]: without --starttls this is plain text");
    }
}

std::unique_ptr<ISocketStrategy> makeStrategy(ToolLog& log, const IConfig& config) {
    return makeStrategy(log, [&] { return instantiateSocketStrategy(log, config); });
}

std::unique_ptr<ISocketStrategy>
makeStrategy(const ToolLog& log, const std::function<std::unique_ptr<ISocketStrategy>()>& make) {
    try {
        return make();
    } catch (const std::exception& error) {
        const Diagnosis diagnosis = log.diagnosis();
        throw Failure(ExitStatus::Usage, diagnosis.status() == ExitStatus::Success
                                             ? error.what()
                                             : causeText(diagnosis));
    }
}

std::string causeText(const Diagnosis& diagnosis) {
    std::string text = causeWords(diagnosis.status());
    if (!diagnosis.causeLine().empty()) {
        text += " (" + printableText(diagnosis.causeLine()) + ")" + diagnosis.causeReason();
    }
    return text;
}

} // namespace VexaSsl::tool
