// What tests of the base need to know from the system itself; defined in
// support/<system>/System.cpp.
#pragma once

#include <filesystem>
#include <string>

namespace VexaSsl::test {

std::filesystem::path pathOfThisProgram();
std::wstring userOfThisProcess();
// A new folder that nobody else uses; the caller removes it.
std::filesystem::path makeTemporaryFolder();

} // namespace VexaSsl::test
