// Prints the list of certificates: for a user, or for a script as one JSON object a line.
#pragma once

#include "certificates/PersonalCertificates.h"
#include "common/UnusedFiles.h"

#include <cstddef>
#include <vector>

namespace VexaSsl::tool {

struct CertificateListing {
    const std::vector<PersonalCertificate>& all;
    std::vector<std::size_t> places; // of the certificates to print
    std::vector<UnusedFile> unused;  // files that aren't used
    std::vector<RoleChoice> choices;
    std::vector<LoggedLine> lines; // of the library's own enumeration; usually empty
};

void printForPerson(const CertificateListing& listing);
void printForScript(const CertificateListing& listing);
void printPem(const CertificateListing& listing);

} // namespace VexaSsl::tool
