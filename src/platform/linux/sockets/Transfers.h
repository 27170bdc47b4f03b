// Moving bytes over a stream or datagram socket: the caller's buffers as a cursor, the flags, and
// one receive or send over scattered buffers. Nothing here knows of overlapped operations.
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

// Whether receiving (or sending) knows all the bits of flags and their combination: a receive that
// waits for all it was asked for can neither peek nor be out of band.
bool areReceiveFlags(DWORD flags) noexcept;
bool areSendFlags(DWORD flags) noexcept;

// The same bits with the system's numbers.
int systemFlags(DWORD flags) noexcept;

// A list of buffers of which the front is used up step by step. Refers to the entries and changes
// them; the memory is the caller's.
class BufferCursor {
public:
    explicit BufferCursor(std::span<iovec> buffers) noexcept : rest(buffers) { advance(0); }

    bool isEmpty() const noexcept { return rest.empty(); }
    void advance(std::size_t bytes) noexcept;
    // The one buffer that is left; null for none and for several.
    const iovec* single() const noexcept { return rest.size() == 1 ? rest.data() : nullptr; }
    // A header for one system call; it takes no more buffers than the system does at once.
    msghdr message() const noexcept;

private:
    std::span<iovec> rest;
};

// The buffers as the system takes them. Result: 0; WSAEFAULT for a null array or a null buffer with
// a length; WSAEINVAL for no buffer at all; WSAENOBUFS when out of memory.
int copyBuffers(const WSABUF* buffers, DWORD count, std::vector<iovec>& copy) noexcept;

std::uint64_t totalSize(std::span<const iovec> buffers) noexcept;

// The outcome of a transfer: bytes when error is 0. With WSAEMSGSIZE the buffers are filled and the
// rest of the datagram is lost.
struct TransferResult {
    int error = 0;
    std::uint64_t bytes = 0;
};

// Blocks as the socket blocks. End of stream: 0 bytes.
TransferResult receiveInto(int fd, std::span<iovec> buffers, DWORD flags) noexcept;

// Whether a call waits only if the socket blocks, or in any case, as overlapped operations do.
enum class Waiting { asTheSocket, always };

// A call that waits sends everything; bytes that were accepted before a failure make a success, and
// the failure shows in the next call.
TransferResult sendFrom(int fd, std::span<iovec> buffers, DWORD flags, Waiting waiting) noexcept;

// What a failed send means: a broken pipe is WSAESHUTDOWN if this side has ended its sending and
// WSAECONNRESET if the connection is gone.
int sendError(int fd, int systemError) noexcept;

} // namespace VexaSsl::linux
