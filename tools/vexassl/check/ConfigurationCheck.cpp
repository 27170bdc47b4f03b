#include "check/ConfigurationCheck.h"

#include "VexaSsl/VexaSsl.h"
#include "check/OwnChain.h"
#include "check/UnreadSettings.h"
#include "common/Diagnosis.h"
#include "common/ExposedKeys.h"
#include "common/LogCollector.h"
#include "common/Text.h"
#include "common/UnusedFiles.h"
#include "config/LogTexts.h"
#include "config/ObservedConfiguration.h"
#include "config/OptionChecks.h"
#include "config/StrategyOptions.h"
#include "config/Vocabulary.h"
#include "secure/LogTexts.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

namespace {

namespace Definition = ConfigurationDefinition;

class Check {
public:
    explicit Check(const CheckOptions& options) : options(options), log(Severity::Info) {
        checked.connection = widenedBytes(options.connectionName);
        checked.iniFile = options.iniFile;
    }

    CheckedConfiguration run() {
        load();
        checked.options = effectiveOptions(*config, checked.trace);
        const Findings refused = refusedValues(checked.options);
        add(refused);
        start();
        if (refused.empty()) {
            for (const bool isServer : {true, false}) {
                tryRole(isServer);
            }
            reportUnusedFiles();
            reportExposedKeys();
        }
        return std::move(checked);
    }

private:
    void add(const Findings& more) {
        checked.findings.insert(checked.findings.end(), more.begin(), more.end());
    }

    void add(Gravity gravity, const std::string& id, const std::string& text,
             ExitStatus status = ExitStatus::Usage) {
        checked.findings.push_back({gravity, id, text, "", 0, status});
    }

    void load() {
        if (options.iniFile.empty()) {
            config = constructDefaultSslConfiguration(log, checked.connection);
            return;
        }
        config = observedConfigurationFromIniFile(log, pathOfText(options.iniFile),
                                                  checked.connection, checked.trace);
        Diagnosis diagnosis;
        for (const LoggedLine& line : log.take()) {
            diagnosis.observe(line.text);
        }
        const bool reserved = Definition::ReservedConnectionNames.contains(checked.connection);
        const bool fellBack = diagnosis.revertedToPlain() && !reserved;
        add(checked.trace.findings(!fellBack));
        if (fellBack) {
            reportFallback(diagnosis.reversionReason());
        } else if (reserved) {
            add(Gravity::Warning, "reserved-name",
                "the connection name [" + printableText(options.connectionName) +
                    "] is reserved: no settings are read for it, and it is not encrypted");
        } else {
            judgeEntry();
        }
    }

    // The library fell back to its defaults: the file that was read last is unusable.
    void reportFallback(const std::wstring& reason) {
        const ParsedFile& last = checked.trace.lastFile();
        std::string text = checked.trace.unfitness();
        std::string id = "unreadable-file";
        if (text.empty() && reason == convertNarrowToWide(LogTexts::unopenedFile)) {
            text = "cannot be opened: " + openingError(last.path());
        } else if (text.empty()) {
            id = "no-store";
            text = "names no store: there is no key [ConfigurationStore] in a section [VexaSsl]";
        }
        checked.findings.push_back({Gravity::Error, id, text + "; a start falls back to plain text",
                                    last.name(), 0, ExitStatus::Usage});
    }

    static std::string openingError(const std::filesystem::path& path) {
        errno = 0;
        const std::ifstream again(path);
        return std::generic_category().message(again ? 0 : errno);
    }

    // Reports which entry of the store applies to the connection.
    void judgeEntry() {
        const std::string name = "[" + printableText(options.connectionName) + "]";
        if (checked.trace.section().empty()) {
            const bool isDefault =
                sameWord(checked.connection, Definition::ConnectionsSectionOptions::Default);
            checked.findings.push_back(
                {Gravity::Warning, "no-entry",
                 "[Connections] has no entry for " + name +
                     (isDefault ? "" : " and none for [Default]") +
                     ": every option keeps its default, and nothing is "
                     "encrypted" +
                     suggestedConnection(checked.trace.lastFile(), checked.connection),
                 checked.trace.lastFile().name(), 0, ExitStatus::Warnings});
        } else if (checked.trace.isDefaultEntry()) {
            add(Gravity::Note, "default-entry",
                "[Connections] has no entry for " + name + ": the one for [Default] serves it");
        }
    }

    // Makes the same call as a program.
    void start() {
        try {
            const auto stack = instantiateSocketStrategy(log, *config);
            const StrategyOptions shape(log, *config);
            checked.stack = !shape.useEncryption  ? "plain"
                            : shape.opportunistic ? "opportunistic"
                                                  : "tls";
            log.take();
        } catch (const std::exception& refusal) {
            reportRefusal(refusal);
        }
        if (checked.stack == "plain") {
            judgePlainText();
        }
    }

    void judgePlainText() {
        add(Gravity::Note, "plain-text", "nothing is encrypted on this connection");
        if (checked.trace.isDefaultEntry()) {
            add(Gravity::Warning, "plain-by-default",
                "[Connections] has no entry for [" + printableText(options.connectionName) +
                    "], and the one for [Default] means plain text" +
                    suggestedConnection(checked.trace.lastFile(), checked.connection));
        }
        if (options.requireTls) {
            add(Gravity::Error, "tls-required",
                "this connection is in plain text, and --require-tls was given");
        }
    }

    // An invalid value is reported already, with its place.
    void reportRefusal(const std::exception& refusal) {
        const auto isBadValue = [](const Finding& finding) { return finding.id == "bad-value"; };
        if (std::any_of(checked.findings.begin(), checked.findings.end(), isBadValue)) {
            return;
        }
        const auto lines = log.take();
        const std::string reason =
            lines.empty() ? refusal.what() : printableText(lines.back().text);
        add(Gravity::Error, "start-refused", reason + ": a start is refused");
    }

    bool isAsked(bool isServer) const { return options.role == (isServer ? "server" : "client"); }

    // A configured certificate must exist. A default need not: a machine that is only a client
    // needs no server certificate.
    bool isNeeded(bool isServer) const {
        if (checked.stack.empty() || checked.stack == "plain") {
            return false;
        }
        const std::wstring& option =
            isServer ? Definition::ConnectionOptions::ServerCertificateToSendName
                     : Definition::ConnectionOptions::ClientCertificateToSendName;
        return isAsked(isServer) || !checked.trace.option(option).file.empty();
    }

    void tryRole(bool isServer) {
        if (options.role != "both" && !isAsked(isServer)) {
            return;
        }
        std::vector<std::string> distrust;
        const CredentialTrial side =
            tryCredentials(*config, isServer, [&](PCCERT_CONTEXT certificate) {
                distrust = reasonsOfDistrust(certificate, isServer);
            });
        const std::string role = isServer ? "as a server: " : "as a client: ";
        if (!side.usable && checked.stack != "plain") {
            add(isNeeded(isServer) ? Gravity::Error : Gravity::Note, "own-certificate",
                role + "no usable certificate and key: " + causeText(side),
                ExitStatus::OwnCertificate);
        }
        if (side.matches > 1) {
            add(Gravity::Note, "several-certificates",
                role + std::to_string(side.matches) +
                    " certificates have the name; the last one is used");
        }
        if (side.certificate) {
            judgeDates(*side.certificate, role, isNeeded(isServer));
            const std::string peers = isServer ? "clients" : "servers";
            for (const std::string& reason : distrust) {
                add(isNeeded(isServer) ? Gravity::Warning : Gravity::Note,
                    "certificate-not-trusted",
                    role + peers +
                        " that trust what this machine trusts refuse the certificate of "
                        "[" +
                        shownTitle(*side.certificate) + "]: " + reason);
            }
        }
        checked.sides.push_back(side);
    }

    // A certificate that is needed and not found may be in an unused file.
    void reportUnusedFiles() {
        const auto isMissing = [](const Finding& finding) {
            return finding.id == "own-certificate" && finding.gravity == Gravity::Error;
        };
        if (std::none_of(checked.findings.begin(), checked.findings.end(), isMissing)) {
            return;
        }
        FindingList notes;
        for (const UnusedFile& file : unusedFiles()) {
            notes.add({Gravity::Note, "unused-file", "not used: " + file.text, file.path, 0,
                       ExitStatus::Usage});
        }
        add(notes.shown());
    }

    void reportExposedKeys() {
        if (checked.stack.empty() || checked.stack == "plain") {
            return;
        }
        FindingList notes;
        for (const std::string& file : exposedKeys()) {
            notes.add({Gravity::Note, "exposed-key",
                       "every account of this machine may read this private key or its password; "
                       "chmod o-r takes that away",
                       file, 0, ExitStatus::Usage});
        }
        add(notes.shown());
    }

    void judgeDates(const CertificateFacts& certificate, const std::string& role, bool needed) {
        const Gravity gravity = needed ? Gravity::Warning : Gravity::Note;
        const std::string which = role + "the certificate of [" + shownTitle(certificate) + "] is ";
        if (certificate.notAfter < currentTime()) {
            add(gravity, "certificate-expired", which + "no longer valid");
        } else if (certificate.notBefore > currentTime()) {
            add(gravity, "certificate-not-yet-valid", which + "not valid yet");
        }
    }

    // Includes the library's line that says what to do, if there is one.
    static std::string causeText(const CredentialTrial& side) {
        std::string text = printableText(side.cause) + side.reason;
        for (const LoggedLine& line : side.lines) {
            if (line.text.starts_with(LogTexts::unreadableKeyPrefix)) {
                text += " " + printableText(line.text);
            }
        }
        return text;
    }

    const CheckOptions& options;
    LogCollector log;
    CheckedConfiguration checked;
    std::unique_ptr<IConfig> config;
};

} // namespace

CheckedConfiguration checkConfiguration(const CheckOptions& options) {
    return Check(options).run();
}

} // namespace VexaSsl::tool
