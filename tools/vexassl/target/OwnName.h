// The name by which a configuration finds the one certificate of the personal store. Any thread.
#pragma once

#include <string>

namespace VexaSsl::tool {

// Returns a text that only the subject search finds, never a word of the configuration. Throws
// Failure (OwnCertificate) when the store has no certificate or its subject is empty.
std::wstring ownCertificateName();

} // namespace VexaSsl::tool
