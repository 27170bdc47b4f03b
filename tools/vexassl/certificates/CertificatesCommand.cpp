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
    "A certificate is in the store if its key is in the same file or beside it, even if this "
    "account can't read the key. Files that are not used, those of the trust anchors included, are "
    "listed with the reason.\n"
    "\n"
    "With --ini the certificate of every connection is chosen in both roles, without a network. "
    "Each other certificate has the reason why it was not chosen: name (the name is not in its "
    "subject), usage (it is not issued for the purpose), chain (it is not trusted), later (the "
    "last that fits is chosen).\n"
    "\n"
    "With --json standard output has one object per line, with a \"type\": certificate, unused, "
    "choice, loss, log.\n"
    "\n"
    "The status is 7 if --usable-for finds no certificate with a trusted chain and a key that this "
    "account can use, or if none was picked. With --expiring it is 21 if certificates are listed, "
    "else 0.\n";

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
         .text = "Only those that can be used as a server or as a client",
         .target = &options.usableFor,
         .words = {"server", "client"}},
        {"--expiring", "30d", "Only those that have expired or expire within this number of days",
         &options.expiring},
        {"--pick", "", "Ask the user to choose one on the terminal, and show only that one",
         &options.pick},
        {"--log", "", "Also print the lines that the library logs when it reads the store",
         &options.log},
        {"--json", "", "Print lines of JSON", &options.json},
        {.name = "--pem",
         .value = "",
         .text = "Print only the certificates, in PEM",
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
            "List the personal store, and show which certificate each connection uses",
            certificatesFlags(*options),
            {{"vexassl certificates", "Everything in the store"},
             {"vexassl certificates --expiring 30d --json",
              "What to renew within thirty days, for a script"},
             {"vexassl certificates --ini vexassl.ini --connection Default",
              "Which certificate the connection Default uses, and why not the others"},
             {"vexassl certificates --usable-for server",
              "What a server can send; the status is 7 if there is nothing"}},
            notes,
            [options] { return runCertificates(*options); }};
}

} // namespace VexaSsl::tool
