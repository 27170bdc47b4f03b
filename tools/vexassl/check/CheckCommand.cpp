#include "check/CheckCommand.h"

#include "check/CheckReport.h"
#include "common/CertificateFolder.h"
#include "common/ConnectionOptions.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>

namespace VexaSsl::tool {

namespace {

constexpr const char* checkNotes =
    "The network is not used. Each finding is a line on standard error: \"FILE:LINE: warning: "
    "TEXT [IDENTIFIER]\". An error makes the check fail; a warning does so with --strict; a note "
    "never does.\n\n"
    "With --json standard output has one object per line, with a \"type\": configuration, option, "
    "role, error, warning, note, result.\n";

std::string counted(std::size_t number, const std::string& thing) {
    return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

// The status of the first error; Warnings under strict when there are warnings; else Success.
ExitStatus statusOf(const Findings& findings, bool strict) {
    ExitStatus status = ExitStatus::Success;
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
    const CheckedConfiguration checked = checkConfiguration(options);
    const ExitStatus status = statusOf(checked.findings, options.strict);
    (options.json ? reportForScripts() : reportForPeople())->show(checked, status);
    if (status == ExitStatus::Success) {
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
            "Show the options of a connection, and what is wrong with the files they come from",
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
                   .text = "What the connection is used for; with server or client its certificate "
                           "must be usable",
                   .target = &options->role,
                   .words = {"server", "client", "both"}},
                  {"--require-tls", "", "Fail if the connection is in plain text",
                   &options->requireTls},
                  {"--strict", "", "Fail if there are warnings", &options->strict},
                  {"--json", "", "Print lines of JSON", &options->json}},
        .examples =
            {{"vexassl check --ini vexassl.ini --connection Secure",
              "Shows the nine options of the connection Secure, the origin of each, and what "
              "the library ignores in the files"},
             {"vexassl check --ini vexassl.ini --connection Secure --role server "
              "--require-tls --strict",
              "In a script, before a server is restarted"}},
        .notes = checkNotes,
        .run = [options] { return runCheck(*options); },
    };
}

} // namespace VexaSsl::tool
