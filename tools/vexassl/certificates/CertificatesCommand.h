// vexassl certificates: what lies in the personal store, and which of it a connection would take.
#pragma once

#include "common/Command.h"
#include "common/ExitStatus.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

struct CertificatesOptions {
    std::string iniFile;                  // empty: no connection is looked at
    std::vector<std::string> connections; // empty: all that the store names
    std::string certificates;
    std::string usableFor; // "server" or "client"; empty: no matter
    std::string expiring;  // "30d"; empty: no matter
    bool pick = false;
    bool log = false;
    bool json = false;
};

// Prints the list. Result: Well, or OwnCertificate when none is usable for the purpose asked for,
// or none was picked. Throws Failure.
ExitStatus runCertificates(const CertificatesOptions& options);

Command certificatesCommand();

} // namespace VexaSsl::tool
