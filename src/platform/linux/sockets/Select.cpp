// select on Winsock's fd_set, a counted array, and the operations on these sets.
#include "VexaPlatform/HostSockets.h"
#include "platform/contract/Winsock.h"
#include "platform/linux/sockets/Deadline.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketKind.h"
#include "platform/linux/sockets/SocketStates.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <optional>
#include <span>

namespace VexaSsl::linux {

namespace {

constexpr std::size_t setCount = 3;

struct SetKind {
    short requested;
    short ready; // any of these puts a socket into the set
};
constexpr SetKind reading{POLLIN, POLLIN | POLLHUP | POLLERR};
constexpr SetKind writing{POLLOUT, POLLOUT | POLLERR};
constexpr SetKind exceptional{POLLPRI, POLLPRI};

// Returns the sockets of a set; none for a null set.
std::span<SOCKET> socketsOf(fd_set* set) {
    return set == nullptr ? std::span<SOCKET>{} : std::span(set->fd_array, set->fd_count);
}

// The members of up to three sets as entries for poll, one for each member.
class Selection {
public:
    Selection(fd_set* read, fd_set* write, fd_set* except) : sets{read, write, except} {}

    // Returns 0; WSAEINVAL when the sets have no member or a count exceeds its array; WSAENOTSOCK
    // for a member that isn't a socket.
    int fill() {
        for (std::size_t kind = 0; kind < setCount; ++kind) {
            if (sets[kind] != nullptr && sets[kind]->fd_count > socketSetCapacity) {
                return WSAEINVAL;
            }
            for (const SOCKET s : socketsOf(sets[kind])) {
                const int fd = descriptorOf(s);
                if (kindOf(fd) == SocketKind::none) { // poll ignores a negative descriptor
                    return WSAENOTSOCK;
                }
                entries[count++] = {fd, kinds[kind].requested, 0};
            }
        }
        return count == 0 ? WSAEINVAL : 0;
    }

    // Returns 0 when a socket is ready or the deadline has passed, else a Winsock error code.
    int wait(const Deadline& deadline) {
        const bool anyDeferred = hasDeferredConnection();
        for (;;) {
            const int ready =
                poll(entries.data(), count, anyDeferred ? 0 : deadline.milliseconds());
            if (ready > 0 && hasInvalid()) {
                return WSAENOTSOCK;
            }
            if (ready > 0 || anyDeferred || (ready == 0 && deadline.hasPassed())) {
                return 0;
            }
            if (ready < 0 && errno != EINTR && errno != EAGAIN) {
                return winsockError(errno);
            }
            if (ready < 0 && deadline.hasPassed()) {
                clearResults();
                return 0;
            }
        }
    }

    // Reduces the sets to the ready sockets, in their order. Returns their number over all sets.
    int keepReady() {
        unsigned int total = 0;
        std::size_t entry = 0;
        for (std::size_t kind = 0; kind < setCount; ++kind) {
            unsigned int kept = 0;
            for (const SOCKET s : socketsOf(sets[kind])) {
                if (isReady(entries[entry++], kind)) {
                    sets[kind]->fd_array[kept++] = s;
                }
            }
            if (sets[kind] != nullptr) {
                sets[kind]->fd_count = kept;
            }
            total += kept;
        }
        return static_cast<int>(total);
    }

private:
    static constexpr std::array<SetKind, setCount> kinds{reading, writing, exceptional};

    std::span<pollfd> used() { return std::span(entries).first(count); }

    bool hasInvalid() {
        return std::ranges::any_of(used(),
                                   [](const pollfd& entry) { return entry.revents & POLLNVAL; });
    }

    void clearResults() {
        for (pollfd& entry : used()) {
            entry.revents = 0;
        }
    }

    // Returns whether a listening socket in the read set has a deferred connection.
    bool hasDeferredConnection() {
        return std::ranges::any_of(used(), [](const pollfd& entry) { return isDeferred(entry); });
    }

    static bool isDeferred(const pollfd& entry) {
        return entry.events == reading.requested && SocketStates::instance().hasDeferred(entry.fd);
    }

    bool isInExceptSet(int fd) {
        return std::ranges::any_of(used(), [fd](const pollfd& entry) {
            return entry.fd == fd && entry.events == exceptional.requested;
        });
    }

    // Winsock reports a failed non-blocking connect in the except set only. For a host that doesn't
    // pass the socket in that set, it is reported in the others, as the host would wait forever.
    bool isReady(const pollfd& entry, std::size_t kind) {
        const bool isExceptional = entry.events == exceptional.requested;
        const bool hasFailed = (entry.revents & POLLERR) != 0;
        if (!hasFailed && (entry.revents & POLLOUT) != 0) {
            SocketStates::instance().connectEnded(entry.fd); // later failures aren't the connect's
        }
        const bool connectFailed = hasFailed && SocketStates::instance().isConnecting(entry.fd);
        if (connectFailed && (isExceptional || isInExceptSet(entry.fd))) {
            return isExceptional;
        }
        return (entry.revents & kinds[kind].ready) != 0 || isDeferred(entry);
    }

    std::array<fd_set*, setCount> sets;
    std::array<pollfd, setCount * socketSetCapacity> entries;
    nfds_t count = 0;
};

// Returns nothing for an invalid timeout.
std::optional<Deadline> deadlineOf(const timeval* timeout) {
    constexpr long microsecondsInSecond = 1'000'000;
    constexpr long maxSeconds = 1'000'000'000; // more counts as never
    if (timeout == nullptr) {
        return Deadline::never();
    }
    if (timeout->tv_sec < 0 || timeout->tv_usec < 0 || timeout->tv_usec >= microsecondsInSecond) {
        return std::nullopt;
    }
    if (timeout->tv_sec > maxSeconds) {
        return Deadline::never();
    }
    return Deadline::after(std::chrono::seconds(timeout->tv_sec) +
                           std::chrono::microseconds(timeout->tv_usec));
}

} // namespace

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

int select(int, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, const timeval* timeout) {
    Selection selection(readfds, writefds, exceptfds);
    if (const int error = selection.fill()) {
        return fail(error);
    }
    const auto deadline = deadlineOf(timeout);
    if (!deadline) {
        return fail(WSAEINVAL);
    }
    if (const int error = selection.wait(*deadline)) {
        return fail(error);
    }
    return selection.keepReady();
}

int __WSAFDIsSet(SOCKET s, fd_set* set) {
    return socketSetHas(s, *set) ? 1 : 0;
}

void socketSetClear(fd_set& set) {
    set.fd_count = 0;
}

void socketSetAdd(SOCKET s, fd_set& set) {
    if (set.fd_count < socketSetCapacity && !socketSetHas(s, set)) {
        set.fd_array[set.fd_count++] = s;
    }
}

void socketSetRemove(SOCKET s, fd_set& set) {
    const auto members = socketsOf(&set);
    const auto found = std::ranges::find(members, s);
    if (found != members.end()) {
        std::copy(found + 1, members.end(), found);
        --set.fd_count;
    }
}

bool socketSetHas(SOCKET s, const fd_set& set) {
    return std::ranges::count(std::span(set.fd_array, set.fd_count), s) != 0;
}

} // namespace VexaSsl::platform
