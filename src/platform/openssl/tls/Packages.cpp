#include "platform/contract/SecuritySupport.h"

#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/tls/PackageCall.h"

#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <new>
#include <string_view>

namespace VexaSsl {
namespace {

using openssl::packageCall;

// Bits of fCapabilities (SECPKG_FLAG_*).
constexpr ULONG integrity = 0x1;
constexpr ULONG privacy = 0x2;
constexpr ULONG connectionOriented = 0x10;
constexpr ULONG extendedErrors = 0x80;
constexpr ULONG streams = 0x400;
constexpr ULONG mutualAuthentication = 0x10000;
constexpr ULONG capabilities =
    integrity | privacy | connectionOriented | extendedErrors | streams | mutualAuthentication;

constexpr WORD interfaceVersion = 1;
constexpr WORD rpcIdentifier = 14; // of Schannel
constexpr ULONG maxTokenSize = 0x6000;

constexpr std::wstring_view names[] = {L"Schannel",
                                       L"Microsoft Unified Security Protocol Provider"};
constexpr std::wstring_view comment = L"TLS 1.2 by OpenSSL";

// The array and its texts in one block, which one call releases.
struct PackageList {
    SecPkgInfoW packages[std::size(names)];
    wchar_t texts[std::size(names)][64];
    wchar_t commentText[32];
};

void writeText(wchar_t* destination, std::wstring_view text) {
    std::wmemcpy(destination, text.data(), text.size());
    destination[text.size()] = L'\0';
}

PackageList* makeList() {
    void* memory = openssl::orOutOfMemory(std::malloc(sizeof(PackageList)));
    auto* list = new (memory) PackageList;
    writeText(list->commentText, comment);
    for (std::size_t i = 0; i < std::size(names); ++i) {
        writeText(list->texts[i], names[i]);
        list->packages[i] = {.fCapabilities = capabilities,
                             .wVersion = interfaceVersion,
                             .wRPCID = rpcIdentifier,
                             .cbMaxToken = maxTokenSize,
                             .Name = list->texts[i],
                             .Comment = list->commentText};
    }
    return list;
}

} // namespace

SECURITY_STATUS platform::EnumerateSecurityPackagesW(ULONG* count, SecPkgInfoW** packages) {
    return packageCall([&]() -> SECURITY_STATUS {
        if (!count || !packages) {
            return SEC_E_INVALID_TOKEN;
        }
        *packages = makeList()->packages;
        *count = static_cast<ULONG>(std::size(names));
        return SEC_E_OK;
    });
}

// Tokens and package lists are allocated by malloc.
SECURITY_STATUS platform::FreeContextBuffer(void* buffer) {
    std::free(buffer);
    return SEC_E_OK;
}

} // namespace VexaSsl
