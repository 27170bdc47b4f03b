#include "platform/contract/SecuritySupport.h"

#include "platform/openssl/tls/PackageCall.h"

#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <new>
#include <string_view>

namespace VexaSsl {
namespace {

using openssl::packageCall;

// What the package can do, as bits of fCapabilities.
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
constexpr ULONG largestToken = 0x6000;

constexpr std::wstring_view names[] = {L"Schannel",
                                       L"Microsoft Unified Security Protocol Provider"};
constexpr std::wstring_view comment = L"TLS 1.2 by OpenSSL";

// The array and its texts in one block, since one call releases it.
struct PackageList {
    SecPkgInfoW packages[std::size(names)];
    wchar_t texts[std::size(names)][64];
    wchar_t commentText[32];
};

void writeText(wchar_t* place, std::wstring_view text) {
    std::wmemcpy(place, text.data(), text.size());
    place[text.size()] = L'\0';
}

PackageList* makeList() {
    void* memory = std::malloc(sizeof(PackageList));
    if (!memory) {
        throw std::bad_alloc();
    }
    auto* list = new (memory) PackageList;
    writeText(list->commentText, comment);
    for (std::size_t i = 0; i < std::size(names); ++i) {
        writeText(list->texts[i], names[i]);
        list->packages[i] = {.fCapabilities = capabilities,
                             .wVersion = interfaceVersion,
                             .wRPCID = rpcIdentifier,
                             .cbMaxToken = largestToken,
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

// Tokens and package lists are plain malloc blocks. Null is harmless.
SECURITY_STATUS platform::FreeContextBuffer(void* buffer) {
    std::free(buffer);
    return SEC_E_OK;
}

} // namespace VexaSsl
