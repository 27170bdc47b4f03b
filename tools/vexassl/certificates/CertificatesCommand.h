// vexassl certificates: the contents of the personal store, and which certificate a connection
// would use.
#pragma once

#include "common/Command.h"
#include "common/ExitStatus.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

struct CertificatesOptions {
    std::string iniFile;                  // empty: no connection is shown
    std::vector<std::string> connections; // empty: all that the store names
    std::string certificates;
    std::string usableFor; // "server" or "client"; empty: any
    std::string expiring;  // "30d"; empty: any
    bool pick = false;
    bool log = false;
    bool json = false;
    bool pem = false;
};

// Prints the list. Returns Success, or OwnCertificate when none is usable for the requested purpose
// or none was picked. Throws Failure.
ExitStatus runCertificates(const CertificatesOptions& options);

Command certificatesCommand();

} // namespace VexaSsl::tool
