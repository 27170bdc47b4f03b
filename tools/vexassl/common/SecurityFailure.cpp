#include "common/SecurityFailure.h"

#include "common/PlatformFacts.h"
#include "common/Text.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

constexpr std::uint32_t internalError = 0x80090304;     // 2148074244
constexpr std::uint32_t algorithmMismatch = 0x80090331; // 2148074289

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

std::string handshakeFailureSuffix(std::uint32_t status) {
    return status == algorithmMismatch
               ? ": TLS 1.2 is the newest version spoken here, so a peer that allows only TLS 1.3 "
                 "can't connect"
               : securityFailureSuffix(status);
}

} // namespace VexaSsl::tool
