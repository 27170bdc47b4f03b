#include "CheckCommand.h"

#include "CertificateFolder.h"
#include "CheckReport.h"
#include "ConnectionOptions.h"
#include "Text.h"
#include "VexaSsl/VexaSsl.h"
#include "config/ObservedConfiguration.h"
#include "config/OptionChecks.h"
#include "config/Vocabulary.h"
#include "strategies/StrategyOptions.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <fstream>
#include <memory>
#include <system_error>

namespace VexaSsl::tool {

namespace {

namespace Definition = ConfigurationDefinition;

constexpr const char* checkNotes =
    "Nothing is sent over a network. Findings go to standard error, one a line: \"FILE:LINE: "
    "warning: TEXT [IDENTIFIER]\". An error makes the check fail; a warning does so under "
    "--strict; "
    "a note never does.\n\n"
    "With --json standard output has one object a line, told apart by \"type\": configuration, "
    "option, role, error, warning, note, result.\n";

class Check {
public:
    explicit Check(const CheckOptions& checkOptions) : options(checkOptions), log(Severity::Info) {
        checked.connection = widenedBytes(options.connectionName);
        checked.iniFile = options.iniFile;
    }

    const CheckedConfiguration& run() {
        load();
        checked.options = effectiveOptions(*config, checked.trace);
        const Findings refused = refusedValues(checked.options);
        add(refused);
        start();
        if (refused.empty()) {
            for (const bool isServer : {true, false}) {
                tryRole(isServer);
            }
        }
        return checked;
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
        config = observedConfigurationFromIniFile(log, options.iniFile, checked.connection,
                                                  checked.trace);
        Diagnosis diagnosis;
        for (const LoggedLine& line : log.take()) {
            diagnosis.observe(line.text);
        }
        const bool reserved = Definition::ReservedConnectionNames.contains(checked.connection);
        const bool fellBack = diagnosis.revertedToPlain() && !reserved;
        add(checked.trace.findings(!fellBack));
        if (fellBack) {
            tellFallback(diagnosis.reversionReason());
        } else if (reserved) {
            add(Gravity::Warning, "reserved-name",
                "the connection name [" + printableText(options.connectionName) +
                    "] is reserved: no settings are read for it, and it is not encrypted");
        } else {
            judgeEntry();
        }
    }

    // The library went on with its defaults: the file read last was of no use.
    void tellFallback(const std::wstring& reason) {
        const FileTrace* store = checked.trace.storeFile();
        const FileTrace& last = store != nullptr ? *store : *checked.trace.iniFile();
        std::string text = checked.trace.unfitness();
        std::string id = "unreadable-file";
        if (text.empty() && reason == L"Can't open config file") {
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

    // Which entry of the store serves the connection.
    void judgeEntry() {
        const std::string name = "[" + printableText(options.connectionName) + "]";
        const FileTrace& store = *checked.trace.storeFile();
        if (checked.trace.section().empty()) {
            const bool isDefault =
                sameWord(checked.connection, Definition::ConnectionsSectionOptions::Default);
            checked.findings.push_back({Gravity::Warning, "no-entry",
                                        "[Connections] has no entry for " + name +
                                            (isDefault ? "" : " and none for [Default]") +
                                            ": every option keeps its default, and nothing is "
                                            "encrypted",
                                        store.name(), 0, ExitStatus::Warnings});
        } else if (checked.trace.isDefaultEntry()) {
            add(Gravity::Note, "default-entry",
                "[Connections] has no entry for " + name + ": the one for [Default] serves it");
        }
    }

    // The very call that a program makes.
    void start() {
        try {
            const auto stack = instantiateSocketStrategy(log, *config);
            const StrategyOptions shape(log, *config);
            checked.stack = !shape.useEncryption  ? "plain"
                            : shape.opportunistic ? "opportunistic"
                                                  : "tls";
            log.take();
        } catch (const std::exception& refusal) {
            tellRefusal(refusal);
        }
        if (checked.stack == "plain") {
            add(Gravity::Note, "plain-text", "nothing is encrypted on this connection");
        }
    }

    // A bad value has been told of already, with its place.
    void tellRefusal(const std::exception& refusal) {
        const auto told = [](const Finding& finding) { return finding.id == "bad-value"; };
        if (std::any_of(checked.findings.begin(), checked.findings.end(), told)) {
            return;
        }
        const auto lines = log.take();
        const std::string reason =
            lines.empty() ? refusal.what() : printableText(lines.back().text);
        add(Gravity::Error, "start-refused", reason + ": a start is refused");
    }

    bool isAsked(bool isServer) const { return options.role == (isServer ? "server" : "client"); }

    // A certificate that somebody asked for must be there. The defaults are a guess: a machine that
    // is only ever a client needs none for servers.
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
        const OwnSide side = tryOwnSide(*config, isServer);
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
        if (side.certificate && side.certificate->notAfter < currentMoment()) {
            add(isNeeded(isServer) ? Gravity::Warning : Gravity::Note, "certificate-expired",
                role + "the certificate of [" + shownTitle(*side.certificate) +
                    "] is no longer valid");
        }
        checked.sides.push_back(side);
    }

    // With the line that tells an administrator what to do, where the library has one.
    static std::string causeText(const OwnSide& side) {
        std::string text = printableText(side.cause);
        for (const LoggedLine& line : side.lines) {
            if (line.text.find(L"Probable cause: ") != std::wstring::npos) {
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

std::string counted(std::size_t number, const std::string& thing) {
    return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

// The first error's status; Warnings under strict when there are any; else Well.
ExitStatus statusOf(const Findings& findings, bool strict) {
    ExitStatus status = ExitStatus::Well;
    for (const Finding& finding : findings) {
        if (finding.gravity == Gravity::Error) {
            return finding.status;
        }
        if (finding.gravity == Gravity::Warning && strict) {
            status = ExitStatus::Warnings;
        }
    }
    return status;
}

} // namespace

ExitStatus runCheck(const CheckOptions& options) {
    useCertificateFolder(options.certificates);
    Check check(options);
    const CheckedConfiguration& checked = check.run();
    const ExitStatus status = statusOf(checked.findings, options.strict);
    (options.json ? reportForScripts() : reportForPeople())->show(checked, status);
    if (status == ExitStatus::Well) {
        return status;
    }
    const auto count = [&checked](Gravity gravity) {
        return static_cast<std::size_t>(
            std::count_if(checked.findings.begin(), checked.findings.end(),
                          [gravity](const Finding& each) { return each.gravity == gravity; }));
    };
    throw Failure(status, counted(count(Gravity::Error), "error") + " and " +
                              counted(count(Gravity::Warning), "warning") +
                              " in the configuration of [" + options.connectionName + "]");
}

Command checkCommand() {
    const auto options = std::make_shared<CheckOptions>();
    return {
        .name = "check",
        .summary =
            "Show a connection's configuration as a start reads it, and what is wrong with it",
        .flags = {{"--ini", "FILE",
                   "Ini file that names the configuration store; without it the defaults are shown",
                   &options->iniFile},
                  {.name = "--connection",
                   .value = "NAME",
                   .text = "Connection name to look up in the store",
                   .target = &options->connectionName,
                   .needs = "--ini"},
                  certificatesFlag(options->certificates),
                  {.name = "--role",
                   .value = "ROLE",
                   .text = "What the connection is used for: its certificate must then be usable",
                   .target = &options->role,
                   .words = {"server", "client", "both"}},
                  {"--strict", "", "Fail when there are warnings", &options->strict},
                  {"--json", "", "Lines of JSON for scripts", &options->json}},
        .examples = {{"vexassl check --ini vexassl.ini --connection Secure",
                      "Shows the nine options of the connection Secure, where each comes from, and "
                      "what the files hold that is never read"},
                     {"vexassl check --ini vexassl.ini --connection Secure --role server --strict",
                      "For a script before a server's restart: fails when anything is amiss"}},
        .notes = checkNotes,
        .run = [options] { return runCheck(*options); },
    };
}

} // namespace VexaSsl::tool
