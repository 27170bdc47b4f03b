#include "platform/linux/sockets/SystemErrors.h"

#include "VexaPlatform/WinsockShapes.h"
#include "platform/linux/base/LastError.h"

#include <cerrno>
#include <netdb.h>
#include <span>

namespace VexaSsl::linux {

namespace {

struct Translation {
    int system;
    int winsock;
};

// EBADF becomes WSAENOTSOCK, Winsock's error for an invalid socket handle.
constexpr Translation systemErrors[] = {
    {EBADF, WSAENOTSOCK},
    {ENOTSOCK, WSAENOTSOCK},
    {EINTR, WSAEINTR},
    {EACCES, WSAEACCES},
    {EPERM, WSAEACCES},
    {EFAULT, WSAEFAULT},
    {EINVAL, WSAEINVAL},
    {EMFILE, WSAEMFILE},
    {ENFILE, WSAEMFILE},
    {EAGAIN, WSAEWOULDBLOCK},
    {EINPROGRESS, WSAEINPROGRESS},
    {EALREADY, WSAEALREADY},
    {EDESTADDRREQ, WSAEDESTADDRREQ},
    {EMSGSIZE, WSAEMSGSIZE},
    {EPROTOTYPE, WSAEPROTOTYPE},
    {ENOPROTOOPT, WSAENOPROTOOPT},
    {EPROTONOSUPPORT, WSAEPROTONOSUPPORT},
    {ESOCKTNOSUPPORT, WSAESOCKTNOSUPPORT},
    {EOPNOTSUPP, WSAEOPNOTSUPP},
    {EPFNOSUPPORT, WSAEPFNOSUPPORT},
    {EAFNOSUPPORT, WSAEAFNOSUPPORT},
    {EADDRINUSE, WSAEADDRINUSE},
    {EADDRNOTAVAIL, WSAEADDRNOTAVAIL},
    {ENETDOWN, WSAENETDOWN},
    {ENETUNREACH, WSAENETUNREACH},
    {ENETRESET, WSAENETRESET},
    {ECONNABORTED, WSAECONNABORTED},
    {ECONNRESET, WSAECONNRESET},
    {ENOBUFS, WSAENOBUFS},
    {ENOMEM, WSAENOBUFS},
    {EISCONN, WSAEISCONN},
    {ENOTCONN, WSAENOTCONN},
    {ESHUTDOWN, WSAESHUTDOWN},
    {EPIPE, WSAESHUTDOWN},
    {ETIMEDOUT, WSAETIMEDOUT},
    {ECONNREFUSED, WSAECONNREFUSED},
    {ENAMETOOLONG, WSAENAMETOOLONG},
    {EHOSTDOWN, WSAEHOSTDOWN},
    {EHOSTUNREACH, WSAEHOSTUNREACH},
};

constexpr Translation resolverErrors[] = {
    {0, 0},
    {EAI_AGAIN, WSATRY_AGAIN},
    {EAI_BADFLAGS, WSAEINVAL},
    {EAI_FAIL, WSANO_RECOVERY},
    {EAI_FAMILY, WSAEAFNOSUPPORT},
    {EAI_MEMORY, WSA_NOT_ENOUGH_MEMORY},
    {EAI_NONAME, WSAHOST_NOT_FOUND},
    {EAI_NODATA, WSANO_DATA},
    {EAI_ADDRFAMILY, WSANO_DATA},
    {EAI_OVERFLOW, WSAEFAULT},
    {EAI_SERVICE, WSATYPE_NOT_FOUND},
    {EAI_SOCKTYPE, WSAESOCKTNOSUPPORT},
};

int translate(std::span<const Translation> table, int system, int fallback) noexcept {
    for (const Translation& entry : table) {
        if (entry.system == system) {
            return entry.winsock;
        }
    }
    return fallback;
}

} // namespace

int winsockError(int systemError) noexcept {
    return translate(systemErrors, systemError, WSAENETDOWN);
}

int resolverError(int result) noexcept {
    return result == EAI_SYSTEM ? winsockError(errno)
                                : translate(resolverErrors, result, WSANO_RECOVERY);
}

int fail(int number) noexcept {
    lastErrorSlot() = number;
    return SOCKET_ERROR;
}

int failWithErrno() noexcept {
    return fail(winsockError(errno));
}

} // namespace VexaSsl::linux
