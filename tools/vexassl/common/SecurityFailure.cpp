#include "common/SecurityFailure.h"

#include "common/PlatformFacts.h"
#include "common/Text.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

constexpr std::uint32_t internalError = 0x80090304; // 2148074244

} // namespace

std::string securityFailureSuffix(std::uint32_t status) {
    const std::string reason = status == internalError ? securityFailure() : "";
    return reason.empty() ? "" : ": " + printableText(std::string_view(reason));
}

std::string securityFailureSuffix(std::wstring_view line) {
    const std::wstring failed = L"failed with: " + std::to_wstring(internalError) + L" ";
    const bool isInternal = line.find(failed) != std::wstring_view::npos;
    return isInternal ? securityFailureSuffix(internalError) : "";
}

} // namespace VexaSsl::tool
