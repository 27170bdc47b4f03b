// Receiving and sending on a stream or datagram socket, with scattered buffers. Independent of
// overlapped operations. Any thread.
#pragma once

#include "VexaPlatform/WinsockShapes.h"

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace VexaSsl::linux {

// Winsock's transfer flags.
inline constexpr DWORD winsockOutOfBand = 0x1;
inline constexpr DWORD winsockPeek = 0x2;
inline constexpr DWORD winsockDontRoute = 0x4;
inline constexpr DWORD winsockWaitAll = 0x8;

// Return whether flags are known and may be combined: MSG_WAITALL excludes the other receive flags.
bool areValidReceiveFlags(DWORD flags) noexcept;
bool areValidSendFlags(DWORD flags) noexcept;

// Returns the system's values of the flags, with MSG_NOSIGNAL.
int systemFlags(DWORD flags) noexcept;

// A position in a list of buffers. Refers to the caller's entries and changes them.
class BufferCursor {
public:
    explicit BufferCursor(std::span<iovec> buffers) noexcept : remaining(buffers) { advance(0); }

    bool isEmpty() const noexcept { return remaining.empty(); }
    void advance(std::size_t bytes) noexcept;
    // Returns the buffer that remains; null for none or several.
    const iovec* singleBuffer() const noexcept {
        return remaining.size() == 1 ? remaining.data() : nullptr;
    }
    // Returns the remaining buffers for one system call, at most IOV_MAX.
    msghdr header() const noexcept;

private:
    std::span<iovec> remaining;
};

// Copies the array of buffers to the system's type. Returns 0; WSAEFAULT for a null array or a null
// buffer with a length; WSAEINVAL for an empty array; WSAENOBUFS when out of memory.
int copyBuffers(const WSABUF* buffers, DWORD count, std::vector<iovec>& copy) noexcept;

std::uint64_t totalSize(std::span<const iovec> buffers) noexcept;

// The result of a transfer. error is 0, and bytes is valid, or a Winsock error code. With
// WSAEMSGSIZE the buffers are full and the rest of the datagram is lost.
struct TransferResult {
    int error = 0;
    std::uint64_t bytes = 0;
};

// Receives into the buffers; waits on a blocking socket. 0 bytes at the end of the stream.
TransferResult receiveInto(int fd, std::span<iovec> buffers, DWORD flags) noexcept;

// Whether a send waits only on a blocking socket, or always, as overlapped sends do.
enum class Blocking { asSocket, always };

// Sends the buffers; a send that waits sends everything. If it fails after some bytes were sent,
// the result is a success with these bytes, and the next call fails.
TransferResult sendFrom(int fd, std::span<iovec> buffers, DWORD flags, Blocking blocking) noexcept;

// Returns the Winsock error code for the errno of a failed send. EPIPE is WSAESHUTDOWN after a
// shutdown of this side's sending and WSAECONNRESET when the connection no longer exists.
int sendError(int fd, int systemError) noexcept;

} // namespace VexaSsl::linux
