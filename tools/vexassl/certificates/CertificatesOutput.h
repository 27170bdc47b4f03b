// How the list of certificates is shown: to a person, or to a script as one JSON object a line.
#pragma once

#include "certificates/PersonalCertificates.h"
#include "common/UnusedFiles.h"

#include <cstddef>
#include <vector>

namespace VexaSsl::tool {

struct CertificateListing {
    const std::vector<PersonalCertificate>& all;
    std::vector<std::size_t> places; // of those to show
    std::vector<UnusedFile> unused;  // files that give no certificate
    std::vector<RoleChoice> choices;
    std::vector<LoggedLine> lines; // of the library's own walk; usually none
};

void printForPerson(const CertificateListing& listing);
void printForScript(const CertificateListing& listing);

} // namespace VexaSsl::tool
