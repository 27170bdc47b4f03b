// Selects the folder of certificates for a command.
#pragma once

#include <string>

namespace VexaSsl::tool {

// Takes the certificates from the folder; an empty text changes nothing. Throws Failure (Usage)
// when there is no such folder, or when this system keeps certificates in stores of its own.
void useCertificateFolder(const std::string& folder);

} // namespace VexaSsl::tool
