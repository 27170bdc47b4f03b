// Facts about the system that tests compare with; defined in
// support/<system>/System.cpp.
#pragma once

#include <filesystem>
#include <string>

namespace VexaSsl::test {

std::filesystem::path pathOfThisProgram();
std::wstring userOfThisProcess();
// Creates a new folder, which the caller removes.
std::filesystem::path makeTemporaryFolder();
// Returns the last failed call of the security library on this thread with its reason; empty on a
// system that reports nothing but statuses.
std::string reasonOfSecurityFailure();
// Whether a text file ends at its first byte 0x1A.
extern const bool controlZEndsTextFiles;

} // namespace VexaSsl::test
