// Why a file of the certificate folder isn't used, for a user. Stateless; any thread.
#pragma once

#include "VexaPlatform/Certificates.h"
#include "common/UnusedFiles.h"

namespace VexaSsl::tool {

// Describes file. Its path is part of the text if the text has a command that converts the file.
UnusedFile describe(const platform::UnusedCertificateFile& file);

} // namespace VexaSsl::tool
