#include "certificates/CertificatesCommand.h"

#include "certificates/CertificatesOutput.h"
#include "certificates/ConfiguredConnections.h"
#include "certificates/PersonalCertificates.h"
#include "certificates/UtcTime.h"
#include "common/CertificateFolder.h"
#include "common/ConnectionOptions.h"
#include "common/UnusedFiles.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace VexaSsl::tool {

namespace {

std::vector<RoleChoice> choicesOf(const CertificatesOptions& options,
                                  const PersonalCertificates& certificates) {
    std::vector<RoleChoice> choices;
    if (options.iniFile.empty()) {
        return choices;
    }
    for (const ConfiguredConnection& connection :
         configuredConnections(options.iniFile, options.connections)) {
        for (const bool isServer : {true, false}) {
            choices.push_back(certificates.choose(connection.name, *connection.config, isServer));
            if (!connection.note.empty()) {
                choices.back().text = "isn't encrypted: " + connection.note;
            }
        }
    }
    return choices;
}

// The indexes of the requested certificates.
std::vector<std::size_t> wantedPlaces(const CertificatesOptions& options,
                                      const std::vector<PersonalCertificate>& all) {
    const std::optional<UtcTime> horizon =
        options.expiring.empty() ? std::nullopt
                                 : std::optional(currentTime() + parseDays(options.expiring));
    const bool forServer = options.usableFor == "server";
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const bool expires = !horizon || all[i].facts.notAfter <= *horizon;
        const bool isUsable = options.usableFor.empty() || all[i].isUsable(forServer);
        if (expires && isUsable) {
            places.push_back(i);
        }
    }
    return places;
}

bool isAnyUsable(const std::vector<PersonalCertificate>& all, bool forServer) {
    return std::any_of(all.begin(), all.end(), [forServer](const PersonalCertificate& each) {
        return each.isUsable(forServer);
    });
}

ExitStatus show(const CertificatesOptions& options, const CertificateListing& listing) {
    if (options.pem) {
        printPem(listing);
    } else if (options.json) {
        printForScript(listing);
    } else {
        printForPerson(listing);
    }
    if (!options.usableFor.empty() && !isAnyUsable(listing.all, options.usableFor == "server")) {
        return ExitStatus::OwnCertificate;
    }
    const bool someExpire = !options.expiring.empty() && !options.pick && !listing.places.empty();
    return someExpire ? ExitStatus::Expiring : ExitStatus::Success;
}

const char* const notes =
    "A certificate is in the store if its key is in the same file or beside it, even when the key\n"
    "can't be read. Files that are not used are listed with the reason, those of the trust "
    "anchors\n"
    "too.\n"
    "\n"
    "With --ini every connection of the store is tried in both roles, as a start does it but "
    "without\n"
    "a network: which certificate it takes, and for each of the others why it doesn't: name (not "
    "in\n"
    "its subject), usage (not marked for the purpose), chain (not trusted), later (one that comes\n"
    "later in the store is taken).\n"
    "\n"
    "With --json, one object a line, distinguished by \"type\": certificate, unused, choice,\n"
    "loss, log.\n"
    "\n"
    "--usable-for requires a key that this account can use and a trusted chain; when no "
    "certificate "
    "has\n"
    "both, the status is 7, as it is when none was picked. With --expiring the status is 21 when\n"
    "certificates are listed, and 0 when there are none.\n";

Flags certificatesFlags(CertificatesOptions& options) {
    return {
        {"--ini", "FILE", "Ini file that names the configuration store with the connections",
         &options.iniFile},
        {.name = "--connection",
         .value = "NAME",
         .text = "Only this connection; may be given several times",
         .target = &options.connections,
         .needs = "--ini"},
        certificatesFlag(options.certificates),
        {.name = "--usable-for",
         .value = "PURPOSE",
         .text = "Only those usable for a server or a client",
         .target = &options.usableFor,
         .words = {"server", "client"}},
        {"--expiring", "30d", "Only those that expire within so many days, or have expired",
         &options.expiring},
        {"--pick", "", "Let the user pick one on the terminal, and show only that one",
         &options.pick},
        {"--log", "", "Also what the library's own walk through the store logs", &options.log},
        {"--json", "", "One JSON object a line", &options.json},
        {.name = "--pem",
         .value = "",
         .text = "Only the certificates themselves, in PEM",
         .target = &options.pem,
         .excludes = "--json"},
    };
}

} // namespace

ExitStatus runCertificates(const CertificatesOptions& options) {
    if (!options.expiring.empty()) {
        parseDays(options.expiring); // report an invalid one before any work
    }
    useCertificateFolder(options.certificates);
    const PersonalCertificates certificates;
    CertificateListing listing{
        certificates.all(), {}, unusedFiles(), choicesOf(options, certificates), {}};
    if (options.log) {
        listing.lines = certificates.walk();
    }
    if (!options.pick) {
        listing.places = wantedPlaces(options, certificates.all());
        return show(options, listing);
    }
    const std::optional<std::size_t> picked = certificates.pick();
    if (!picked) {
        throw Failure(ExitStatus::OwnCertificate, "no certificate was picked");
    }
    listing.places = {*picked};
    return show(options, listing);
}

Command certificatesCommand() {
    const auto options = std::make_shared<CertificatesOptions>();
    return {"certificates",
            "List the personal store, and say which certificate a connection takes",
            certificatesFlags(*options),
            {{"vexassl certificates", "everything in the store"},
             {"vexassl certificates --expiring 30d --json", "what to renew, for a script"},
             {"vexassl certificates --ini vexassl.ini --connection Default",
              "which certificate the connection Default takes, and why not the others"},
             {"vexassl certificates --usable-for server",
              "what a server can send; status 7 if there is nothing"}},
            notes,
            [options] { return runCertificates(*options); }};
}

} // namespace VexaSsl::tool
