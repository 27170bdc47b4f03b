// What tests need to know from the system itself; defined in
// support/<system>/System.cpp.
#pragma once

#include <filesystem>
#include <string>

namespace VexaSsl::test {

std::filesystem::path pathOfThisProgram();
std::wstring userOfThisProcess();
// A new folder that nobody else uses; the caller removes it.
std::filesystem::path makeTemporaryFolder();
// Which call of the system's security library failed last in this thread, and why; empty on a
// system that reports nothing but statuses.
std::string reasonOfSecurityFailure();

} // namespace VexaSsl::test
