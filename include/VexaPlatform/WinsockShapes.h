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

inline constexpr BOOL TRUE = 1;  // what a BOOL says of success
inline constexpr BOOL FALSE = 0; // and of failure

// A socket is the file descriptor, widened. INVALID_SOCKET has all bits set.
using SOCKET = std::uint64_t;
inline constexpr SOCKET INVALID_SOCKET = ~SOCKET{0}; // no socket
inline constexpr int SOCKET_ERROR = -1; // the failure of an operation with an int result

// The "how" of shutdown.
inline constexpr int SD_RECEIVE = 0; // no more receiving
inline constexpr int SD_SEND = 1;    // no more sending
inline constexpr int SD_BOTH = 2;    // neither

// How many sockets one fd_set can name (FD_SETSIZE of Winsock).
inline constexpr unsigned int socketSetCapacity = 64;

// A set of sockets as a counted array: fd_array[0 .. fd_count) in the order of insertion.
// NOLINTNEXTLINE(readability-identifier-naming)
struct fd_set {
    unsigned int fd_count = 0;               // how many are in it
    SOCKET fd_array[socketSetCapacity] = {}; // they themselves, then nothing of meaning
};

// One piece of a scattered transfer. The memory is the caller's.
struct WSABUF {
    ULONG len = 0;       // bytes
    char* buf = nullptr; // the first of them
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
using WSAOVERLAPPED = OVERLAPPED; // the name that the socket operations use

// Runs in an alertable wait of the thread that posted the operation: its error (0 for none), the
// bytes transferred, and the state that was posted.
using LPWSAOVERLAPPED_COMPLETION_ROUTINE = void (*)(DWORD error, DWORD transferred,
                                                    WSAOVERLAPPED* overlapped, DWORD flags);

// Quality of service is accepted for the shape's sake and not acted upon.
struct FLOWSPEC {
    ULONG TokenRate = 0;          // bytes a second
    ULONG TokenBucketSize = 0;    // bytes
    ULONG PeakBandwidth = 0;      // bytes a second
    ULONG Latency = 0;            // microseconds
    ULONG DelayVariation = 0;     // microseconds
    ULONG ServiceType = 0;        // the level asked for
    ULONG MaxSduSize = 0;         // bytes
    ULONG MinimumPolicedSize = 0; // bytes
};

// Both directions' quality of service; not acted upon.
struct QOS {
    FLOWSPEC SendingFlowspec;   // not acted upon
    FLOWSPEC ReceivingFlowspec; // not acted upon
    WSABUF ProviderSpecific;    // not acted upon
};

// Asked by WSAAccept whether to take a connection: CF_ACCEPT, CF_REJECT or CF_DEFER.
using LPCONDITIONPROC = int (*)(WSABUF* callerId, WSABUF* callerData, QOS* sqos, QOS* gqos,
                                WSABUF* calleeId, WSABUF* calleeData, GROUP* group,
                                DWORD_PTR callbackData);
inline constexpr int CF_ACCEPT = 0; // take the connection
inline constexpr int CF_REJECT = 1; // refuse it
inline constexpr int CF_DEFER = 2;  // leave it waiting

// The wide twin of addrinfo.
struct ADDRINFOW {
    int ai_flags = 0;                // AI_ flags of the system
    int ai_family = 0;               // AF_ number of the system
    int ai_socktype = 0;             // SOCK_ number of the system
    int ai_protocol = 0;             // IPPROTO_ number, or 0
    std::size_t ai_addrlen = 0;      // bytes of ai_addr
    wchar_t* ai_canonname = nullptr; // the official name, when it was asked for
    sockaddr* ai_addr = nullptr;     // the address
    ADDRINFOW* ai_next = nullptr;    // the next entry, or null
};

// Windows base and Winsock error numbers ("System Error Codes", "Windows Sockets Error Codes").
inline constexpr int NO_ERROR = 0;                // nothing failed
inline constexpr int ERROR_NOT_ENOUGH_MEMORY = 8; // no memory
inline constexpr int WSA_INVALID_HANDLE = 6;      // no such event or port
inline constexpr int WSA_NOT_ENOUGH_MEMORY = 8;   // no memory
inline constexpr int WSA_INVALID_PARAMETER = 87;  // an argument that can't be
inline constexpr int WSA_OPERATION_ABORTED = 995; // overlapped: ended with its socket
inline constexpr int WSA_IO_INCOMPLETE = 996;     // overlapped: not finished yet
inline constexpr int WSA_IO_PENDING = 997;        // overlapped: begun, and not a failure
inline constexpr int WSAEINTR = 10004;            // interrupted
inline constexpr int WSAEBADF = 10009;            // no descriptor
inline constexpr int WSAEACCES = 10013;           // not permitted
inline constexpr int WSAEFAULT = 10014;           // memory that isn't the caller's, or too little
inline constexpr int WSAEINVAL = 10022;           // a call that doesn't fit now, or a bad argument
inline constexpr int WSAEMFILE = 10024;           // no descriptors left
inline constexpr int WSAEWOULDBLOCK =
    10035; // not now, on a socket that doesn't block; also a time-out of Linux
inline constexpr int WSAEINPROGRESS = 10036;     // a blocking call is under way
inline constexpr int WSAEALREADY = 10037;        // connecting already
inline constexpr int WSAENOTSOCK = 10038;        // not a socket
inline constexpr int WSAEDESTADDRREQ = 10039;    // no destination
inline constexpr int WSAEMSGSIZE = 10040;        // message too long
inline constexpr int WSAEPROTOTYPE = 10041;      // wrong kind of protocol
inline constexpr int WSAENOPROTOOPT = 10042;     // no such option
inline constexpr int WSAEPROTONOSUPPORT = 10043; // no such protocol
inline constexpr int WSAESOCKTNOSUPPORT = 10044; // no such kind of socket
inline constexpr int WSAEOPNOTSUPP = 10045;      // not supported here
inline constexpr int WSAEPFNOSUPPORT = 10046;    // no such protocol family
inline constexpr int WSAEAFNOSUPPORT = 10047;    // no such address family
inline constexpr int WSAEADDRINUSE = 10048;      // address taken
inline constexpr int WSAEADDRNOTAVAIL = 10049;   // not an address of this machine
inline constexpr int WSAENETDOWN = 10050;        // network down
inline constexpr int WSAENETUNREACH = 10051;     // network out of reach
inline constexpr int WSAENETRESET = 10052;       // connection dropped by the network
inline constexpr int WSAECONNABORTED =
    10053; // connection given up on this side; a failed handshake
inline constexpr int WSAECONNRESET =
    10054; // connection reset by the peer; a TLS closure in an overlapped receive
inline constexpr int WSAENOBUFS = 10055;        // no buffers
inline constexpr int WSAEISCONN = 10056;        // connected already
inline constexpr int WSAENOTCONN = 10057;       // not connected
inline constexpr int WSAESHUTDOWN = 10058;      // shut down before
inline constexpr int WSAETIMEDOUT = 10060;      // time is up
inline constexpr int WSAECONNREFUSED = 10061;   // nobody listens
inline constexpr int WSAENAMETOOLONG = 10063;   // name too long
inline constexpr int WSAEHOSTDOWN = 10064;      // host down
inline constexpr int WSAEHOSTUNREACH = 10065;   // host out of reach
inline constexpr int WSATYPE_NOT_FOUND = 10109; // no such service
inline constexpr int WSAHOST_NOT_FOUND = 11001; // no such host
inline constexpr int WSATRY_AGAIN = 11002;      // name server doesn't answer
inline constexpr int WSANO_RECOVERY = 11003;    // name resolution failed for good
inline constexpr int WSANO_DATA = 11004;        // the name has no address

} // namespace VexaSsl
