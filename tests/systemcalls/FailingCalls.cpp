#include "systemcalls/FailingCalls.h"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <type_traits>

namespace VexaSsl::test {
namespace {

thread_local FaultPlan* current = nullptr;

// Returns whether this call must fail, and sets errno.
bool failsNow(std::string_view call) {
    if (current == nullptr || current->fault.movesOneByte() || !current->strikes(call)) {
        return false;
    }
    errno = current->fault.number;
    return true;
}

bool movesOneByteNow(std::string_view call) {
    return current != nullptr && current->fault.movesOneByte() && current->strikes(call);
}

// The failure value of a function of the C library.
template <typename Result>
Result failure() {
    if constexpr (std::is_pointer_v<Result>) {
        return nullptr;
    } else {
        return Result{-1};
    }
}

// Returns the function of the C library that this program replaces.
template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// A message with the first byte only.
struct OneByte {
    explicit OneByte(const msghdr& whole) : message(whole) {
        for (std::size_t i = 0; i < whole.msg_iovlen && byte.iov_len == 0; ++i) {
            byte = whole.msg_iov[i];
        }
        byte.iov_len = std::min<std::size_t>(byte.iov_len, 1);
        message.msg_iov = &byte;
        message.msg_iovlen = 1;
    }
    OneByte(const OneByte&) = delete;
    OneByte& operator=(const OneByte&) = delete;

    iovec byte{};
    msghdr message;
};

} // namespace

bool FaultPlan::strikes(std::string_view call) {
    if (call.find(only) == std::string_view::npos) {
        return false;
    }
    const std::size_t number = seen++;
    if (everyOneFrom ? number < at : number != at) {
        return false;
    }
    hitCall = call;
    hitStep = step;
    return true;
}

Armed::Armed(FaultPlan& plan) {
    current = &plan;
}

Armed::~Armed() {
    current = nullptr;
}

// Each function has another name for the compiler, which knows the C library's declaration with its
// attributes, and the C library's name for the linker.
#define VEXASSL_REPLACES(name) __asm__(name) __attribute__((visibility("default"), used))

#define VEXASSL_MAY_FAIL(Result, name, parameters, arguments)                                      \
    extern "C" Result before_##name parameters VEXASSL_REPLACES(#name);                            \
    Result before_##name parameters {                                                              \
        static auto* const passOn = next<Result parameters>(#name);                                \
        return failsNow(#name) ? failure<Result>() : passOn arguments;                             \
    }

VEXASSL_MAY_FAIL(int, accept4, (int fd, sockaddr* address, socklen_t* size, int flags),
                 (fd, address, size, flags))
VEXASSL_MAY_FAIL(int, dup3, (int from, int to, int flags), (from, to, flags))
VEXASSL_MAY_FAIL(int, epoll_create1, (int flags), (flags))
VEXASSL_MAY_FAIL(int, epoll_ctl, (int set, int what, int fd, epoll_event* event),
                 (set, what, fd, event))
VEXASSL_MAY_FAIL(int, epoll_wait, (int set, epoll_event* events, int size, int time),
                 (set, events, size, time))
VEXASSL_MAY_FAIL(int, eventfd, (unsigned value, int flags), (value, flags))
VEXASSL_MAY_FAIL(int, fstat, (int fd, struct stat* facts), (fd, facts))
VEXASSL_MAY_FAIL(int, getpeername, (int fd, sockaddr* address, socklen_t* size),
                 (fd, address, size))
VEXASSL_MAY_FAIL(int, getsockname, (int fd, sockaddr* address, socklen_t* size),
                 (fd, address, size))
VEXASSL_MAY_FAIL(int, getsockopt, (int fd, int level, int name, void* value, socklen_t* size),
                 (fd, level, name, value, size))
VEXASSL_MAY_FAIL(int, setsockopt, (int fd, int level, int name, const void* value, socklen_t size),
                 (fd, level, name, value, size))
VEXASSL_MAY_FAIL(int, listen, (int fd, int backlog), (fd, backlog))
VEXASSL_MAY_FAIL(int, bind, (int fd, const sockaddr* address, socklen_t size), (fd, address, size))
VEXASSL_MAY_FAIL(int, poll, (pollfd * entries, nfds_t count, int time), (entries, count, time))
VEXASSL_MAY_FAIL(int, __poll_chk, (pollfd * entries, nfds_t count, int time, std::size_t room),
                 (entries, count, time, room))
VEXASSL_MAY_FAIL(int, shutdown, (int fd, int how), (fd, how))
VEXASSL_MAY_FAIL(int, socket, (int family, int type, int protocol), (family, type, protocol))
VEXASSL_MAY_FAIL(int, stat, (const char* path, struct stat* facts), (path, facts))
VEXASSL_MAY_FAIL(DIR*, opendir, (const char* path), (path))
VEXASSL_MAY_FAIL(dirent*, readdir, (DIR * folder), (folder))
VEXASSL_MAY_FAIL(FILE*, fopen64, (const char* path, const char* mode), (path, mode))

// Functions with a variable number of arguments, of which callers pass at most one.
#define VEXASSL_MAY_FAIL_OF_MANY(name, First, Second)                                              \
    extern "C" int before_##name(First, Second, long) VEXASSL_REPLACES(#name);                     \
    int before_##name(First first, Second second, long third) {                                    \
        static auto* const passOn = next<int(First, Second, ...)>(#name);                          \
        return failsNow(#name) ? -1 : passOn(first, second, third);                                \
    }

VEXASSL_MAY_FAIL_OF_MANY(fcntl, int, int)
VEXASSL_MAY_FAIL_OF_MANY(open, const char*, int)

// close closes the descriptor even when it fails.
extern "C" int before_close(int fd) VEXASSL_REPLACES("close");
int before_close(int fd) {
    static auto* const passOn = next<int(int)>("close");
    const int result = passOn(fd);
    return failsNow("close") ? -1 : result;
}

// An interrupted connect continues in the background.
extern "C" int before_connect(int fd, const sockaddr* address, socklen_t size)
    VEXASSL_REPLACES("connect");
int before_connect(int fd, const sockaddr* address, socklen_t size) {
    static auto* const passOn = next<int(int, const sockaddr*, socklen_t)>("connect");
    if (!failsNow("connect")) {
        return passOn(fd, address, size);
    }
    if (errno == EINTR) {
        const int flags = ::fcntl(fd, F_GETFL);
        ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
        passOn(fd, address, size);
        ::fcntl(fd, F_SETFL, flags);
        errno = EINTR;
    }
    return -1;
}

extern "C" int before_getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                                  addrinfo** result) VEXASSL_REPLACES("getaddrinfo");
int before_getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                       addrinfo** result) {
    static auto* const passOn =
        next<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
    return failsNow("getaddrinfo") ? EAI_SYSTEM : passOn(node, service, hints, result);
}

extern "C" int before_getnameinfo(const sockaddr* address, socklen_t size, char* node,
                                  socklen_t nodeSize, char* service, socklen_t serviceSize,
                                  int flags) VEXASSL_REPLACES("getnameinfo");
int before_getnameinfo(const sockaddr* address, socklen_t size, char* node, socklen_t nodeSize,
                       char* service, socklen_t serviceSize, int flags) {
    static auto* const passOn =
        next<int(const sockaddr*, socklen_t, char*, socklen_t, char*, socklen_t, int)>(
            "getnameinfo");
    return failsNow("getnameinfo")
               ? EAI_SYSTEM
               : passOn(address, size, node, nodeSize, service, serviceSize, flags);
}

// --- Transfers, which may also transfer only one byte.

extern "C" ssize_t before_read(int fd, void* buffer, std::size_t size) VEXASSL_REPLACES("read");
ssize_t before_read(int fd, void* buffer, std::size_t size) {
    static auto* const passOn = next<ssize_t(int, void*, std::size_t)>("read");
    if (failsNow("read")) {
        return -1;
    }
    return passOn(fd, buffer, size > 1 && movesOneByteNow("read") ? 1 : size);
}

extern "C" ssize_t before_recv(int fd, void* buffer, std::size_t size, int flags)
    VEXASSL_REPLACES("recv");
ssize_t before_recv(int fd, void* buffer, std::size_t size, int flags) {
    static auto* const passOn = next<ssize_t(int, void*, std::size_t, int)>("recv");
    if (failsNow("recv")) {
        return -1;
    }
    return passOn(fd, buffer, size > 1 && movesOneByteNow("recv") ? 1 : size, flags);
}

extern "C" ssize_t before_recvmsg(int fd, msghdr* message, int flags) VEXASSL_REPLACES("recvmsg");
ssize_t before_recvmsg(int fd, msghdr* message, int flags) {
    static auto* const passOn = next<ssize_t(int, msghdr*, int)>("recvmsg");
    if (failsNow("recvmsg")) {
        return -1;
    }
    if (!movesOneByteNow("recvmsg")) {
        return passOn(fd, message, flags);
    }
    OneByte one(*message);
    const ssize_t got = passOn(fd, &one.message, flags);
    message->msg_flags = one.message.msg_flags;
    return got;
}

extern "C" ssize_t before_sendmsg(int fd, const msghdr* message, int flags)
    VEXASSL_REPLACES("sendmsg");
ssize_t before_sendmsg(int fd, const msghdr* message, int flags) {
    static auto* const passOn = next<ssize_t(int, const msghdr*, int)>("sendmsg");
    if (failsNow("sendmsg")) {
        return -1;
    }
    if (!movesOneByteNow("sendmsg")) {
        return passOn(fd, message, flags);
    }
    const OneByte one(*message);
    return passOn(fd, &one.message, flags);
}

} // namespace VexaSsl::test
