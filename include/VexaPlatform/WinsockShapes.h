// The Winsock types, constants and error numbers on a system that has no Winsock.
//
// Everything here has the name, the field order and the number of Microsoft's Winsock and
// Windows base documentation, so that code written against one system compiles on the other.
// The system's own sockaddr, timeval and addrinfo are used as they are. What the C library already
// occupies is different on purpose:
//   - fd_set is the counted array of Winsock and lives in the namespace VexaSsl, because the global
//     fd_set is a bit mask; its operations are functions (socketSetAdd and friends), because FD_SET
//     and FD_SETSIZE are macros;
//   - the receive flags are called msgPeek and msgWaitAll (see VexaSsl/Sockets.h), because MSG_PEEK
//     and MSG_WAITALL are macros with other numbers.
//
// Plain data: any thread may use any of it.
#pragma once

#include <netdb.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstddef>
#include <cstdint>

namespace VexaSsl {

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using BOOL = int;
using HANDLE = void*;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using GROUP = unsigned int;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;

// A socket is the file descriptor, widened. INVALID_SOCKET has all bits set.
using SOCKET = std::uint64_t;
inline constexpr SOCKET INVALID_SOCKET = ~SOCKET{0};
inline constexpr int SOCKET_ERROR = -1;

// The "how" of shutdown.
inline constexpr int SD_RECEIVE = 0;
inline constexpr int SD_SEND = 1;
inline constexpr int SD_BOTH = 2;

// How many sockets one fd_set can name (FD_SETSIZE of Winsock).
inline constexpr unsigned int socketSetCapacity = 64;

// A set of sockets as a counted array: fd_array[0 .. fd_count) in the order of insertion.
// NOLINTNEXTLINE(readability-identifier-naming)
struct fd_set {
    unsigned int fd_count = 0;
    SOCKET fd_array[socketSetCapacity] = {};
};

// One piece of a scattered transfer. The memory is the caller's.
struct WSABUF {
    ULONG len = 0; // bytes
    char* buf = nullptr;
};

// The state of one overlapped operation. The host zeroes it, sets hEvent if it wants an event, and
// keeps it alive and in place until the operation has completed.
struct OVERLAPPED {
    ULONG_PTR Internal = 0;     // Winsock error of the finished operation; belongs to the platform
    ULONG_PTR InternalHigh = 0; // bytes transferred; belongs to the platform
    DWORD Offset = 0;           // unused for sockets
    DWORD OffsetHigh = 0;       // unused for sockets
    HANDLE hEvent = nullptr;    // from WSACreateEvent, or null
};
using WSAOVERLAPPED = OVERLAPPED;

using LPWSAOVERLAPPED_COMPLETION_ROUTINE = void (*)(DWORD error, DWORD transferred,
                                                    WSAOVERLAPPED* overlapped, DWORD flags);

// Quality of service is accepted for the shape's sake and not acted upon.
struct FLOWSPEC {
    ULONG TokenRate = 0;
    ULONG TokenBucketSize = 0;
    ULONG PeakBandwidth = 0;
    ULONG Latency = 0;
    ULONG DelayVariation = 0;
    ULONG ServiceType = 0;
    ULONG MaxSduSize = 0;
    ULONG MinimumPolicedSize = 0;
};

struct QOS {
    FLOWSPEC SendingFlowspec;
    FLOWSPEC ReceivingFlowspec;
    WSABUF ProviderSpecific;
};

// Asked by WSAAccept whether to take a connection: CF_ACCEPT, CF_REJECT or CF_DEFER.
using LPCONDITIONPROC = int (*)(WSABUF* callerId, WSABUF* callerData, QOS* sqos, QOS* gqos,
                                WSABUF* calleeId, WSABUF* calleeData, GROUP* group,
                                DWORD_PTR callbackData);
inline constexpr int CF_ACCEPT = 0;
inline constexpr int CF_REJECT = 1;
inline constexpr int CF_DEFER = 2;

// The wide twin of addrinfo.
struct ADDRINFOW {
    int ai_flags = 0;
    int ai_family = 0;
    int ai_socktype = 0;
    int ai_protocol = 0;
    std::size_t ai_addrlen = 0;
    wchar_t* ai_canonname = nullptr;
    sockaddr* ai_addr = nullptr;
    ADDRINFOW* ai_next = nullptr;
};

// Windows base and Winsock error numbers ("System Error Codes", "Windows Sockets Error Codes").
inline constexpr int NO_ERROR = 0;
inline constexpr int ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr int WSA_INVALID_HANDLE = 6;
inline constexpr int WSA_NOT_ENOUGH_MEMORY = 8;
inline constexpr int WSA_INVALID_PARAMETER = 87;
inline constexpr int WSA_OPERATION_ABORTED = 995;
inline constexpr int WSA_IO_INCOMPLETE = 996;
inline constexpr int WSA_IO_PENDING = 997;
inline constexpr int WSAEINTR = 10004;
inline constexpr int WSAEBADF = 10009;
inline constexpr int WSAEACCES = 10013;
inline constexpr int WSAEFAULT = 10014;
inline constexpr int WSAEINVAL = 10022;
inline constexpr int WSAEMFILE = 10024;
inline constexpr int WSAEWOULDBLOCK = 10035;
inline constexpr int WSAEINPROGRESS = 10036;
inline constexpr int WSAEALREADY = 10037;
inline constexpr int WSAENOTSOCK = 10038;
inline constexpr int WSAEDESTADDRREQ = 10039;
inline constexpr int WSAEMSGSIZE = 10040;
inline constexpr int WSAEPROTOTYPE = 10041;
inline constexpr int WSAENOPROTOOPT = 10042;
inline constexpr int WSAEPROTONOSUPPORT = 10043;
inline constexpr int WSAESOCKTNOSUPPORT = 10044;
inline constexpr int WSAEOPNOTSUPP = 10045;
inline constexpr int WSAEPFNOSUPPORT = 10046;
inline constexpr int WSAEAFNOSUPPORT = 10047;
inline constexpr int WSAEADDRINUSE = 10048;
inline constexpr int WSAEADDRNOTAVAIL = 10049;
inline constexpr int WSAENETDOWN = 10050;
inline constexpr int WSAENETUNREACH = 10051;
inline constexpr int WSAENETRESET = 10052;
inline constexpr int WSAECONNABORTED = 10053;
inline constexpr int WSAECONNRESET = 10054;
inline constexpr int WSAENOBUFS = 10055;
inline constexpr int WSAEISCONN = 10056;
inline constexpr int WSAENOTCONN = 10057;
inline constexpr int WSAESHUTDOWN = 10058;
inline constexpr int WSAETIMEDOUT = 10060;
inline constexpr int WSAECONNREFUSED = 10061;
inline constexpr int WSAENAMETOOLONG = 10063;
inline constexpr int WSAEHOSTDOWN = 10064;
inline constexpr int WSAEHOSTUNREACH = 10065;
inline constexpr int WSATYPE_NOT_FOUND = 10109;
inline constexpr int WSAHOST_NOT_FOUND = 11001;
inline constexpr int WSATRY_AGAIN = 11002;
inline constexpr int WSANO_RECOVERY = 11003;
inline constexpr int WSANO_DATA = 11004;

} // namespace VexaSsl
