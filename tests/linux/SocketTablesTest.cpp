// What the binding remembers of sockets, and how it translates numbers.
#include "contract/sockets/Loopback.h"
#include "platform/linux/sockets/OperationQueue.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketKind.h"
#include "platform/linux/sockets/SocketRegistry.h"
#include "platform/linux/sockets/SocketStates.h"
#include "platform/linux/sockets/SystemErrors.h"
#include "platform/linux/sockets/Transfers.h"
#include "systemcalls/FailingCalls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <netdb.h>
#include <unistd.h>

namespace VexaSsl::test {
namespace {

using linux::SocketKind;

int numberOf(const Socket& socket) {
    return linux::descriptorOf(socket.get());
}

FaultPlan failing(std::string_view function, int systemError) {
    FaultPlan plan;
    plan.at = 0;
    plan.fault.number = systemError;
    plan.only = function;
    return plan;
}

linux::Descriptor anyDescriptor() {
    return linux::Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

TEST(SocketDescriptor, handleThatIsNoDescriptorIsInvalid) {
    EXPECT_EQ(linux::descriptorOf(0), 0);
    EXPECT_EQ(linux::descriptorOf(INT_MAX), INT_MAX);
    EXPECT_EQ(linux::descriptorOf(SOCKET{INT_MAX} + 1), -1);
    EXPECT_EQ(linux::descriptorOf(INVALID_SOCKET), -1);
}

TEST(SocketDescriptor, queriesKeepTheErrorOfTheCall) {
    errno = EPIPE;
    EXPECT_FALSE(linux::isSocket(-1));
    EXPECT_EQ(errno, EPIPE);
    EXPECT_FALSE(linux::isNonBlocking(-1));
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(linux::kindOf(-1), SocketKind::none);
    EXPECT_EQ(errno, EPIPE);
}

TEST(SocketKind, kindIsQueriedOnce) {
    const Socket socket = tcpSocket();
    EXPECT_EQ(linux::kindOf(numberOf(socket)), SocketKind::stream);
    FaultPlan plan = failing("getsockopt", ENOBUFS);
    const Armed armed(plan);
    EXPECT_EQ(linux::kindOf(numberOf(socket)), SocketKind::stream);
    EXPECT_FALSE(plan.hasHit());
}

TEST(SocketKind, kindThatCannotBeQueriedIsQueriedAgain) {
    const Socket socket = tcpSocket();
    FaultPlan plan = failing("getsockopt", ENOBUFS);
    const Armed armed(plan);
    EXPECT_EQ(linux::kindOf(numberOf(socket)), SocketKind::other);
    EXPECT_EQ(linux::kindOf(numberOf(socket)), SocketKind::stream);
}

TEST(SocketKind, descriptorMayBecomeSocket) {
    linux::Descriptor file = anyDescriptor();
    const int number = file.get();
    EXPECT_EQ(linux::kindOf(number), SocketKind::none);
    file = linux::Descriptor();
    const linux::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(socket.get(), number);
    EXPECT_EQ(linux::kindOf(number), SocketKind::stream);
    linux::forgetKind(number);
}

TEST(SocketRegistry, closedSocketHasNoQueue) {
    Socket socket = tcpSocket();
    const int number = numberOf(socket);
    EXPECT_NE(linux::SocketRegistry::instance().findOrCreate(number), nullptr);
    socket.close();
    EXPECT_EQ(linux::SocketRegistry::instance().find(number), nullptr);
}

TEST(SocketStates, statesOfOneSocketAreNotThoseOfAnother) {
    linux::SocketStates& states = linux::SocketStates::instance();
    constexpr int one = 100001;
    constexpr int two = 100002;
    constexpr int none = 100003;
    for (const bool isTaken : {true, false}) {
        states.deferConnection(one, anyDescriptor());
        states.deferConnection(two, anyDescriptor());
        EXPECT_FALSE(states.takeDeferred(none));
        EXPECT_FALSE(states.isConnecting(none));
        EXPECT_FALSE(states.isConnecting(one));
        if (isTaken) {
            EXPECT_TRUE(states.takeDeferred(one));
        } else {
            states.forget(one);
        }
        EXPECT_FALSE(states.hasDeferred(one));
        EXPECT_TRUE(states.takeDeferred(two));
    }
}

// Of a connection that can be accepted and a silent one, only the first is ready.
TEST(Select, interruptedSelectReturnsDeferredConnections) {
    const Pair pair = connectedPair();
    const Socket listener = listenOnLoopback();
    linux::SocketStates::instance().deferConnection(numberOf(listener), anyDescriptor());
    fd_set readable = fdSetOf({&pair.server, &listener});
    FaultPlan plan = failing("poll", EINTR);
    const Armed armed(plan);
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &tenSeconds), 1);
    EXPECT_TRUE(host::socketSetHas(listener.get(), readable));
}

TEST(SystemErrors, errorsKeepTheirNames) {
#define VEXASSL_SAME(name)                                                                         \
    { name, WSA##name }
    constexpr struct {
        int system;
        int winsock;
    } table[] = {
        VEXASSL_SAME(ENOTSOCK),
        VEXASSL_SAME(EINTR),
        VEXASSL_SAME(EACCES),
        VEXASSL_SAME(EFAULT),
        VEXASSL_SAME(EINVAL),
        VEXASSL_SAME(EMFILE),
        VEXASSL_SAME(EINPROGRESS),
        VEXASSL_SAME(EALREADY),
        VEXASSL_SAME(EDESTADDRREQ),
        VEXASSL_SAME(EMSGSIZE),
        VEXASSL_SAME(EPROTOTYPE),
        VEXASSL_SAME(ENOPROTOOPT),
        VEXASSL_SAME(EPROTONOSUPPORT),
        VEXASSL_SAME(ESOCKTNOSUPPORT),
        VEXASSL_SAME(EOPNOTSUPP),
        VEXASSL_SAME(EPFNOSUPPORT),
        VEXASSL_SAME(EAFNOSUPPORT),
        VEXASSL_SAME(EADDRINUSE),
        VEXASSL_SAME(EADDRNOTAVAIL),
        VEXASSL_SAME(ENETDOWN),
        VEXASSL_SAME(ENETUNREACH),
        VEXASSL_SAME(ENETRESET),
        VEXASSL_SAME(ECONNABORTED),
        VEXASSL_SAME(ECONNRESET),
        VEXASSL_SAME(ENOBUFS),
        VEXASSL_SAME(EISCONN),
        VEXASSL_SAME(ENOTCONN),
        VEXASSL_SAME(ESHUTDOWN),
        VEXASSL_SAME(ETIMEDOUT),
        VEXASSL_SAME(ECONNREFUSED),
        VEXASSL_SAME(ENAMETOOLONG),
        VEXASSL_SAME(EHOSTDOWN),
        VEXASSL_SAME(EHOSTUNREACH),
        {EBADF, WSAENOTSOCK},
        {EPERM, WSAEACCES},
        {ENFILE, WSAEMFILE},
        {EAGAIN, WSAEWOULDBLOCK},
        {ENOMEM, WSAENOBUFS},
        {EPIPE, WSAESHUTDOWN},
        {EXDEV, WSAENETDOWN},
    };
#undef VEXASSL_SAME
    for (const auto& [system, winsock] : table) {
        EXPECT_EQ(linux::winsockError(system), winsock) << system;
    }
}

TEST(Transfers, flagsAreThoseOfTheSystem) {
    EXPECT_EQ(linux::systemFlags(0), MSG_NOSIGNAL);
    EXPECT_EQ(linux::systemFlags(linux::winsockOutOfBand), MSG_NOSIGNAL | MSG_OOB);
    EXPECT_EQ(linux::systemFlags(linux::winsockPeek), MSG_NOSIGNAL | MSG_PEEK);
    EXPECT_EQ(linux::systemFlags(linux::winsockDontRoute), MSG_NOSIGNAL | MSG_DONTROUTE);
    EXPECT_EQ(linux::systemFlags(linux::winsockWaitAll), MSG_NOSIGNAL | MSG_WAITALL);
}

TEST(SystemErrors, failuresOfTheResolverAreTranslated) {
    errno = EMFILE;
    EXPECT_EQ(linux::resolverError(EAI_SYSTEM), WSAEMFILE);
    EXPECT_EQ(linux::resolverError(0), 0);
    EXPECT_EQ(linux::resolverError(EAI_AGAIN), WSATRY_AGAIN);
    EXPECT_EQ(linux::resolverError(EAI_FAIL), WSANO_RECOVERY);
    EXPECT_EQ(linux::resolverError(EAI_MEMORY), WSA_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(linux::resolverError(EAI_NODATA), WSANO_DATA);
    EXPECT_EQ(linux::resolverError(EAI_OVERFLOW), WSAEFAULT);
    EXPECT_EQ(linux::resolverError(1), WSANO_RECOVERY);
}

} // namespace
} // namespace VexaSsl::test
