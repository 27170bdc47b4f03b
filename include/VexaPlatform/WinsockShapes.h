// The Winsock types, constants and error numbers on a system without Winsock, with the names, field
// order and values of Microsoft's headers winsock2.h, ws2def.h, minwindef.h and winerror.h, so that
// code written for one system compiles on the other. sockaddr, timeval and addrinfo are the
// system's own. Names that the C library uses otherwise differ:
//   - fd_set, a bit mask there, is Winsock's counted array in the namespace VexaSsl. FD_SET and
//     FD_SETSIZE are macros; the functions socketSetAdd and so on in VexaPlatform/HostSockets.h
//     replace them.
//   - MSG_PEEK and MSG_WAITALL are macros with other values; the receive flags are msgPeek and
//     msgWaitAll in VexaSsl/Sockets.h.
#pragma once

#include <netdb.h>      // IWYU pragma: export
#include <sys/socket.h> // IWYU pragma: export
#include <sys/time.h>   // IWYU pragma: export

#include <cstddef>
#include <cstdint>

namespace VexaSsl {

using BYTE = std::uint8_t;        // 8 bits
using WORD = std::uint16_t;       // 16 bits
using DWORD = std::uint32_t;      // 32 bits, as on Windows
using ULONG = std::uint32_t;      // 32 bits, whatever long is
using LONG = std::int32_t;        // 32 bits
using BOOL = int;                 // TRUE or FALSE
using HANDLE = void*;             // an event or a completion port
using ULONG_PTR = std::uintptr_t; // a number as wide as a pointer
using DWORD_PTR = std::uintptr_t; // the same
using GROUP = unsigned int;       // a group of sockets; unused

inline constexpr BOOL TRUE = 1;  // success
inline constexpr BOOL FALSE = 0; // failure

// A file descriptor in 64 bits.
using SOCKET = std::uint64_t;
inline constexpr SOCKET INVALID_SOCKET = ~SOCKET{0}; // all bits set: no socket
inline constexpr int SOCKET_ERROR = -1;              // failure of a function that returns int

// The argument "how" of shutdown.
inline constexpr int SD_RECEIVE = 0; // shut down receiving
inline constexpr int SD_SEND = 1;    // shut down sending
inline constexpr int SD_BOTH = 2;    // shut down both

// The capacity of an fd_set (Winsock's default FD_SETSIZE).
inline constexpr unsigned int socketSetCapacity = 64;

// A set of sockets: the first fd_count elements of fd_array, in the order of insertion.
// NOLINTNEXTLINE(readability-identifier-naming)
struct fd_set {
    unsigned int fd_count = 0;               // number of sockets
    SOCKET fd_array[socketSetCapacity] = {}; // the sockets; the rest is unused
};

// One buffer of a transfer. The caller owns the memory.
struct WSABUF {
    ULONG len = 0;       // bytes
    char* buf = nullptr; // first byte
};

// The state of one overlapped operation. The host owns it, sets it to zero and hEvent to an event
// if it wants one, and neither frees nor moves it until the operation has completed.
struct OVERLAPPED {
    ULONG_PTR Internal = 0;     // error code, 0 for success; set by the platform
    ULONG_PTR InternalHigh = 0; // bytes transferred; set by the platform
    DWORD Offset = 0;           // unused for sockets
    DWORD OffsetHigh = 0;       // unused for sockets
    HANDLE hEvent = nullptr;    // from WSACreateEvent, or null
};
using WSAOVERLAPPED = OVERLAPPED; // the socket functions use this name

// Runs in an alertable wait of the thread that posted the operation. error is 0 for success,
// transferred a number of bytes.
using LPWSAOVERLAPPED_COMPLETION_ROUTINE = void (*)(DWORD error, DWORD transferred,
                                                    WSAOVERLAPPED* overlapped, DWORD flags);

// Quality of service of one direction. Accepted and ignored.
struct FLOWSPEC {
    ULONG TokenRate = 0;          // bytes per second
    ULONG TokenBucketSize = 0;    // bytes
    ULONG PeakBandwidth = 0;      // bytes per second
    ULONG Latency = 0;            // microseconds
    ULONG DelayVariation = 0;     // microseconds
    ULONG ServiceType = 0;        // SERVICETYPE_ value
    ULONG MaxSduSize = 0;         // bytes
    ULONG MinimumPolicedSize = 0; // bytes
};

// Quality of service of both directions. Accepted and ignored.
struct QOS {
    FLOWSPEC SendingFlowspec;   // ignored
    FLOWSPEC ReceivingFlowspec; // ignored
    WSABUF ProviderSpecific;    // ignored
};

// The condition of WSAAccept. Returns CF_ACCEPT, CF_REJECT or CF_DEFER.
using LPCONDITIONPROC = int (*)(WSABUF* callerId, WSABUF* callerData, QOS* sqos, QOS* gqos,
                                WSABUF* calleeId, WSABUF* calleeData, GROUP* group,
                                DWORD_PTR callbackData);
inline constexpr int CF_ACCEPT = 0; // accept the connection
inline constexpr int CF_REJECT = 1; // reject it
inline constexpr int CF_DEFER = 2;  // leave it in the queue

// addrinfo in wide text. A list from GetAddrInfoW is freed with FreeAddrInfoW.
struct ADDRINFOW {
    int ai_flags = 0;                // the system's AI_ flags
    int ai_family = 0;               // the system's AF_ value
    int ai_socktype = 0;             // the system's SOCK_ value
    int ai_protocol = 0;             // IPPROTO_ value, or 0
    std::size_t ai_addrlen = 0;      // size of *ai_addr in bytes
    wchar_t* ai_canonname = nullptr; // canonical name, if requested
    sockaddr* ai_addr = nullptr;     // the address
    ADDRINFOW* ai_next = nullptr;    // the next entry, or null
};

// Error numbers, from Microsoft's "System Error Codes" and "Windows Sockets Error Codes".
inline constexpr int NO_ERROR = 0;                // success
inline constexpr int ERROR_NOT_ENOUGH_MEMORY = 8; // out of memory
inline constexpr int WSA_INVALID_HANDLE = 6;      // not an event or port
inline constexpr int WSA_NOT_ENOUGH_MEMORY = 8;   // out of memory
inline constexpr int WSA_INVALID_PARAMETER = 87;  // an invalid argument
inline constexpr int WSA_OPERATION_ABORTED = 995; // overlapped: aborted, the socket was closed
inline constexpr int WSA_IO_INCOMPLETE = 996;     // overlapped: still pending
inline constexpr int WSA_IO_PENDING = 997;        // overlapped: pending, not a failure
inline constexpr int WSAEINTR = 10004;            // interrupted
inline constexpr int WSAEBADF = 10009;            // not a descriptor
inline constexpr int WSAEACCES = 10013;           // permission denied
inline constexpr int WSAEFAULT = 10014;           // bad address, or a buffer that is too small
inline constexpr int WSAEINVAL = 10022;           // invalid argument, or invalid in this state
inline constexpr int WSAEMFILE = 10024;           // out of descriptors
inline constexpr int WSAEWOULDBLOCK = 10035;      // would block, on a nonblocking socket
inline constexpr int WSAEINPROGRESS = 10036;      // operation in progress
inline constexpr int WSAEALREADY = 10037;         // connect already in progress
inline constexpr int WSAENOTSOCK = 10038;         // not a socket
inline constexpr int WSAEDESTADDRREQ = 10039;     // destination address required
inline constexpr int WSAEMSGSIZE = 10040;         // message too long
inline constexpr int WSAEPROTOTYPE = 10041;       // wrong protocol for the socket type
inline constexpr int WSAENOPROTOOPT = 10042;      // unknown option
inline constexpr int WSAEPROTONOSUPPORT = 10043;  // protocol not supported
inline constexpr int WSAESOCKTNOSUPPORT = 10044;  // socket type not supported
inline constexpr int WSAEOPNOTSUPP = 10045;       // operation not supported
inline constexpr int WSAEPFNOSUPPORT = 10046;     // protocol family not supported
inline constexpr int WSAEAFNOSUPPORT = 10047;     // address family not supported
inline constexpr int WSAEADDRINUSE = 10048;       // address in use
inline constexpr int WSAEADDRNOTAVAIL = 10049;    // not a local address
inline constexpr int WSAENETDOWN = 10050;         // network down
inline constexpr int WSAENETUNREACH = 10051;      // network unreachable
inline constexpr int WSAENETRESET = 10052;        // connection dropped by the network
inline constexpr int WSAECONNABORTED = 10053;     // aborted locally; a failed handshake
inline constexpr int WSAECONNRESET = 10054;     // reset by the peer; TLS closure in completeWSARecv
inline constexpr int WSAENOBUFS = 10055;        // out of buffer space
inline constexpr int WSAEISCONN = 10056;        // already connected
inline constexpr int WSAENOTCONN = 10057;       // not connected
inline constexpr int WSAESHUTDOWN = 10058;      // socket was shut down
inline constexpr int WSAETIMEDOUT = 10060;      // timed out, also a receive or send timeout
inline constexpr int WSAECONNREFUSED = 10061;   // connection refused
inline constexpr int WSAENAMETOOLONG = 10063;   // name too long
inline constexpr int WSAEHOSTDOWN = 10064;      // host down
inline constexpr int WSAEHOSTUNREACH = 10065;   // host unreachable
inline constexpr int WSATYPE_NOT_FOUND = 10109; // service not found
inline constexpr int WSAHOST_NOT_FOUND = 11001; // host not found
inline constexpr int WSATRY_AGAIN = 11002;      // temporary failure in name resolution
inline constexpr int WSANO_RECOVERY = 11003;    // permanent failure in name resolution
inline constexpr int WSANO_DATA = 11004;        // the name has no address

} // namespace VexaSsl
