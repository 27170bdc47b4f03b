// Where the certificates of both commands come from.
#pragma once

#include <string>

namespace VexaSsl::tool {

// Takes the certificates from folder; an empty text leaves everything as it is. Throws Failure
// (Usage) when there is no such folder, or when this system takes them from stores of its own.
void useCertificateFolder(const std::string& folder);

} // namespace VexaSsl::tool
