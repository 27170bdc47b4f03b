#include "explain/ExplainCommand.h"

#include "certificates/CertificateStore.h"
#include "common/CertificateFolder.h"
#include "common/ConnectionOptions.h"
#include "common/Diagnosis.h"
#include "common/HostNames.h"
#include "common/Text.h"
#include "explain/ChainExplanation.h"
#include "explain/ExplainOutput.h"
#include "explain/PeerChain.h"
#include "starttls/Protocols.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

namespace {

ChainQuestion questionOf(const ExplainOptions& options) {
    ChainQuestion question;
    if (options.purpose == "server") {
        question.purposes = {true};
    } else if (options.purpose == "client") {
        question.purposes = {false};
    }
    question.name = options.name;
    if (!options.at.empty()) {
        question.at = parseUtcTime(options.at);
    }
    return question;
}

void print(const ExplainOptions& options, const ExplainedChain& chain) {
    if (options.pem) {
        printPem(chain);
    } else if (options.json) {
        printForScript(chain);
    } else {
        printForPerson(chain);
    }
}

// The purposes that decide: the requested one, a server's own, or any that is trusted.
ExitStatus statusOf(const ExplainOptions& options, const ChainExplanation& explanation) {
    const std::vector<PurposeVerdict>& purposes = explanation.purposes;
    const bool firstDecides = !options.target.empty() || purposes.size() == 1;
    const auto end = firstDecides ? purposes.begin() + 1 : purposes.end();
    const auto isGood = [](const PurposeVerdict& verdict) { return verdict.isGood(); };
    const auto isTrusted = [](const PurposeVerdict& verdict) { return verdict.trusted; };
    if (std::any_of(purposes.begin(), end, isGood)) {
        return ExitStatus::Success;
    }
    if (std::any_of(purposes.begin(), end, isTrusted)) {
        return ExitStatus::NameMismatch;
    }
    return options.storeName.empty() ? ExitStatus::PeerNotTrusted : ExitStatus::OwnCertificate;
}

// The lines that a connection logs with the usual minimum severity.
std::vector<LoggedLine> usualLines(std::vector<LoggedLine> lines) {
    std::erase_if(lines, [](const LoggedLine& line) { return line.severity == Severity::Debug; });
    return lines;
}

// Why the library's own connection failed, in the words of connect; empty on success.
std::string failureOf(const TriedConnection& tried) {
    Diagnosis diagnosis;
    for (const LoggedLine& line : tried.lines) {
        diagnosis.observe(line.text);
    }
    return diagnosis.status() == ExitStatus::Success ? tried.failure : causeText(diagnosis);
}

ExitStatus explainPeer(const ExplainOptions& options) {
    const PeerQuestion peer{parseEndpoint(options.target), options.name, options.startTls,
                            std::chrono::seconds(options.timeoutSeconds)};
    ChainQuestion question = questionOf(options);
    if (question.name.empty()) {
        question.name = peer.target.host;
    }
    const CertificateChain chain = fetchPeerChain(peer);
    ExplainedChain explained;
    explained.title =
        "the chain that " + printableText(std::string_view(peer.target.text())) + " sends";
    explained.givenAs = "sent by the server";
    explained.name = question.name;
    explained.explanation = explainChain(chain, question);
    const TriedConnection tried = tryConnection(peer);
    explained.connectionFailure = failureOf(tried);
    explained.connection = usualLines(tried.lines);
    print(options, explained);
    return statusOf(options, explained.explanation);
}

ExitStatus explainFile(const ExplainOptions& options) {
    const CertificateChain chain = readCertificates(options.file);
    ExplainedChain explained;
    explained.title = "the chain of the first certificate in [" +
                      printableText(std::string_view(options.file)) + "]";
    explained.givenAs = "from the file";
    explained.name = options.name;
    explained.explanation = explainChain(chain, questionOf(options));
    print(options, explained);
    return statusOf(options, explained.explanation);
}

std::unique_ptr<CertificateStore> openStore(LogCollector& log) {
    try {
        return std::make_unique<CertificateStore>(log);
    } catch (const std::runtime_error&) {
        const std::vector<LoggedLine> lines = log.take();
        throw Failure(ExitStatus::OwnCertificate,
                      "cannot open the personal store (" + printableText(lines.back().text) + ")");
    }
}

// Found as ServerCertificateToSendName and ClientCertificateToSendName find it; a connection takes
// the last of several.
ExitStatus explainStore(const ExplainOptions& options) {
    LogCollector log;
    const auto store = openStore(log);
    const ChainQuestion question = questionOf(options);
    CertificateHandleList found = store->findByName(widenedBytes(options.storeName));
    if (found.empty()) {
        throw Failure(ExitStatus::OwnCertificate, "no certificate with [" + options.storeName +
                                                      "] in its subject in the personal store");
    }
    ExitStatus status = ExitStatus::Success;
    for (std::size_t i = 0; i < found.size(); ++i) {
        CertificateChain chain;
        chain.certificates.emplace_back(platform::CertDuplicateCertificateContext(found[i].get()));
        chain.leaf = std::move(found[i]);
        const bool isLast = i + 1 == found.size();
        ExplainedChain explained;
        explained.number = i + 1;
        explained.title = "certificate " + std::to_string(i + 1) + " of " +
                          std::to_string(found.size()) + " in the personal store with [" +
                          printableText(std::string_view(options.storeName)) + "] in its subject" +
                          (isLast && i > 0 ? ", the one that a connection takes" : "");
        explained.givenAs = "from the personal store";
        explained.name = options.name;
        explained.explanation = explainChain(chain, question);
        print(options, explained);
        status = statusOf(options, explained.explanation);
    }
    return status;
}

const char* const notes =
    "Prints each certificate of the chain, then for each purpose a verdict on every certificate, "
    "with cause and remedy, and the lines that the library logs. A server's chain is shown even if "
    "a connection would refuse it; the lines of such a connection come last. That connection "
    "authenticates the host of HOST:PORT, whatever --name says.\n"
    "\n"
    "With --json standard output has one object per line, with a \"type\": chain, certificate, "
    "element, name, verdict, log, note. The identifiers of faults never change: expired, "
    "not-yet-valid, usage, self-signed, untrusted-root, missing-issuer, signature, "
    "not-an-authority, name-constraint, extension, revoked, revocation-unknown, name, other.\n"
    "\n"
    "The exit status is that of the purpose asked for. Without --purpose it is that of a server if "
    "HOST:PORT is given; for a file or the store one good purpose is enough.\n";

Flags explainFlags(ExplainOptions& options) {
    return {
        {"target", "HOST:PORT", "Server whose chain is explained; an IPv6 address as [::1]:443",
         &options.target},
        {.name = "--starttls",
         .value = "PROTOCOL",
         .text = "The server begins in the clear: ask for TLS in this protocol",
         .target = &options.startTls,
         .words = startTlsProtocols(),
         .needs = "target"},
        {.name = "--file",
         .value = "FILE",
         .text = "PEM or DER file, the certificate in question first; - means standard input",
         .target = &options.file,
         .excludes = "target"},
        {.name = "--store",
         .value = "NAME",
         .text = "Certificates of the personal store with NAME in their subject",
         .target = &options.storeName,
         .excludes = "target"},
        {"--name", "NAME", "Name that the certificate must have; for a server its host by default",
         &options.name},
        {"--at", "TIME",
         "Verify for this time instead of now: 2026-11-21, 2026-11-21T05:10:00Z, or +30d",
         &options.at},
        {.name = "--purpose",
         .value = "PURPOSE",
         .text = "Only for server or client authentication",
         .target = &options.purpose,
         .words = {"server", "client"}},
        {"--root", "FILE", "Further trust anchors: a file in PEM, or one certificate in DER",
         &options.root},
        certificatesFlag(options.certificates),
        {.name = "--timeout",
         .value = "SECONDS",
         .text = "Seconds for connection and handshake; 0 means no limit",
         .target = &options.timeoutSeconds,
         .highest = 1000000},
        {"--json", "", "Print lines of JSON", &options.json},
        {.name = "--pem",
         .value = "",
         .text = "Print only the chain, in PEM: what was given, then what this system adds",
         .target = &options.pem,
         .excludes = "--json"},
    };
}

} // namespace

ExitStatus runExplain(const ExplainOptions& asked) {
    ExplainOptions options = asked;
    options.name = asciiHostName(asked.name).value_or(asked.name);
    const int sources = (options.target.empty() ? 0 : 1) + (options.file.empty() ? 0 : 1) +
                        (options.storeName.empty() ? 0 : 1);
    if (sources != 1) {
        throw Failure(ExitStatus::Usage,
                      "give HOST:PORT, --file FILE or --store NAME, and only one of them (see "
                      "vexassl explain --help)");
    }
    useCertificateFolder(options.certificates);
    const AddedCertificates added({options.root, "", ""});
    if (!options.target.empty()) {
        return explainPeer(options);
    }
    return options.file.empty() ? explainStore(options) : explainFile(options);
}

Command explainCommand() {
    const auto options = std::make_shared<ExplainOptions>();
    return {"explain",
            "Explain why a certificate chain is or isn't trusted, and what to do about it",
            explainFlags(*options),
            {{"vexassl explain mail.example.com:465", "Whether this machine trusts a server"},
             {"vexassl explain mail.example.com:25 --starttls smtp",
              "The same with a server that begins in the clear"},
             {"vexassl explain --file chain.pem --name www.example.com --at +30d",
              "Whether a chain will still be trusted in thirty days"},
             {"vexassl explain --store www.example.com --purpose server --json",
              "A certificate of this machine, for a script"}},
            notes,
            [options] { return runExplain(*options); }};
}

} // namespace VexaSsl::tool
