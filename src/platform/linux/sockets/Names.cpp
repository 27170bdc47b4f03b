// Name resolution in both directions, narrow and wide. Wide text is passed to the resolver in
// UTF-8.
#include "VexaPlatform/HostSockets.h"
#include "platform/contract/Winsock.h"
#include "platform/linux/base/Utf8.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>

namespace VexaSsl::linux {

namespace {

// One entry of a wide list. The entries of a list are one array, so the first one owns all.
struct WideEntry : ADDRINFOW {
    sockaddr_storage address{};
    std::wstring canonicalName;
};

struct NarrowListDeleter {
    void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};
using NarrowList = std::unique_ptr<addrinfo, NarrowListDeleter>;

// Calls getaddrinfo; tries again after a signal. Returns 0 or a Winsock error code.
int resolve(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
    int outcome = 0;
    do {
        outcome = ::getaddrinfo(node, service, hints, result);
    } while (outcome == EAI_SYSTEM && errno == EINTR);
    return resolverError(outcome);
}

// Returns error, and makes a failure the last error, as Winsock does.
int storeError(int error) {
    if (error != 0) {
        fail(error);
    }
    return error;
}

addrinfo narrowHints(const ADDRINFOW& hints) {
    addrinfo result{};
    result.ai_flags = hints.ai_flags;
    result.ai_family = hints.ai_family;
    result.ai_socktype = hints.ai_socktype;
    result.ai_protocol = hints.ai_protocol;
    return result;
}

void fillEntry(WideEntry& entry, const addrinfo& narrow) {
    entry.ai_flags = narrow.ai_flags;
    entry.ai_family = narrow.ai_family;
    entry.ai_socktype = narrow.ai_socktype;
    entry.ai_protocol = narrow.ai_protocol;
    entry.ai_addrlen = narrow.ai_addrlen;
    std::memcpy(&entry.address, narrow.ai_addr, narrow.ai_addrlen);
    entry.ai_addr = reinterpret_cast<sockaddr*>(&entry.address);
    if (narrow.ai_canonname != nullptr) {
        entry.canonicalName = utf8ToWide(narrow.ai_canonname);
        entry.ai_canonname = entry.canonicalName.data();
    }
}

ADDRINFOW* widen(const addrinfo* list) {
    std::size_t count = 0;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        ++count;
    }
    auto entries = std::make_unique<WideEntry[]>(count);
    std::size_t index = 0;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next, ++index) {
        fillEntry(entries[index], *entry);
        entries[index].ai_next = index + 1 < count ? &entries[index + 1] : nullptr;
    }
    return entries.release();
}

int resolveWide(const wchar_t* node, const wchar_t* service, const ADDRINFOW* hints,
                ADDRINFOW** result) {
    const auto narrowNode = node != nullptr ? std::optional(wideToUtf8(node)) : std::nullopt;
    const auto narrowService =
        service != nullptr ? std::optional(wideToUtf8(service)) : std::nullopt;
    const auto systemHints = hints != nullptr ? std::optional(narrowHints(*hints)) : std::nullopt;
    addrinfo* narrow = nullptr;
    const int error = resolve(narrowNode ? narrowNode->c_str() : nullptr,
                              narrowService ? narrowService->c_str() : nullptr,
                              systemHints ? &*systemHints : nullptr, &narrow);
    const NarrowList owner(narrow);
    if (error == 0) {
        *result = widen(narrow);
    }
    return error;
}

// Returns the system's values of Winsock's NI_* flags.
int systemNameFlags(int flags) {
    constexpr struct {
        int winsock;
        int system;
    } table[] = {
        {0x1, NI_NOFQDN},      {0x2, NI_NUMERICHOST}, {0x4, NI_NAMEREQD},
        {0x8, NI_NUMERICSERV}, {0x10, NI_DGRAM},
    };
    int result = 0;
    for (const auto& entry : table) {
        result |= (flags & entry.winsock) != 0 ? entry.system : 0;
    }
    return result;
}

// Copies a name with its terminator. Returns 0, or WSAEFAULT when it doesn't fit.
int copyName(const char* name, wchar_t* target, DWORD capacity) {
    if (target == nullptr || capacity == 0) {
        return 0;
    }
    const std::wstring wide = utf8ToWide(name);
    if (wide.size() >= capacity) {
        return WSAEFAULT;
    }
    wide.copy(target, wide.size());
    target[wide.size()] = L'\0';
    return 0;
}

int lookUpName(const sockaddr* address, socklen_t length, wchar_t* node, DWORD nodeLength,
               wchar_t* service, DWORD serviceLength, int flags) {
    char narrowNode[NI_MAXHOST] = "";
    char narrowService[NI_MAXSERV] = "";
    const bool wantsNode = node != nullptr && nodeLength != 0;
    const bool wantsService = service != nullptr && serviceLength != 0;
    int outcome = 0;
    do {
        outcome = ::getnameinfo(address, length, wantsNode ? narrowNode : nullptr,
                                wantsNode ? NI_MAXHOST : 0, wantsService ? narrowService : nullptr,
                                wantsService ? NI_MAXSERV : 0, systemNameFlags(flags));
    } while (outcome == EAI_SYSTEM && errno == EINTR);
    if (outcome != 0) {
        return resolverError(outcome);
    }
    const int error = copyName(narrowNode, node, nodeLength);
    return error != 0 ? error : copyName(narrowService, service, serviceLength);
}

} // namespace

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints, addrinfo** res) {
    if (res == nullptr) {
        return storeError(WSAEFAULT);
    }
    *res = nullptr;
    return storeError(resolve(nodename, servname, hints, res));
}

int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                 ADDRINFOW** result) {
    if (result == nullptr) {
        return storeError(WSAEFAULT);
    }
    *result = nullptr;
    try {
        return storeError(resolveWide(nodename, servicename, hints, result));
    } catch (const std::bad_alloc&) {
        return storeError(WSA_NOT_ENOUGH_MEMORY);
    }
}

void freeaddrinfo(addrinfo* list) {
    if (list != nullptr) {
        ::freeaddrinfo(list);
    }
}

void FreeAddrInfoW(ADDRINFOW* list) {
    delete[] static_cast<WideEntry*>(list);
}

int GetNameInfoW(const sockaddr* address, int addressLength, wchar_t* node, DWORD nodeLength,
                 wchar_t* service, DWORD serviceLength, int flags) {
    if (address == nullptr || addressLength < 0) {
        return storeError(WSAEFAULT);
    }
    try {
        return storeError(lookUpName(address, static_cast<socklen_t>(addressLength), node,
                                     nodeLength, service, serviceLength, flags));
    } catch (const std::bad_alloc&) {
        return storeError(WSA_NOT_ENOUGH_MEMORY);
    }
}

} // namespace VexaSsl::platform
