// What the tool's overlapped receive leaves when its wait fails.
#include "common/Receiver.h"
#include "fakes/CollectingLog.h"
#include "integration/support/HostSocket.h"

#include "VexaSsl/VexaSsl.h"

#include <gtest/gtest.h>

#include <thread>

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace VexaSsl::tool {
namespace {

// A thread's first wait takes a descriptor.
class NoDescriptorLeft {
public:
    NoDescriptorLeft() {
        ::getrlimit(RLIMIT_NOFILE, &former);
        const rlimit none{0, former.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptorLeft() { ::setrlimit(RLIMIT_NOFILE, &former); }

private:
    rlimit former{};
};

// A receive that stayed pending would be written to when the socket closes, long after its state
// has gone. The cut connection shows that it was ended.
TEST(OverlappedReceiver, cancelsAReceiveThatItCannotWaitFor) {
#ifdef VEXASSL_UNDER_SANITIZER
    GTEST_SKIP() << "the sanitizer itself needs a descriptor to look at an object's type";
#endif
    test::CollectingLog log;
    const auto strategy =
        instantiateSocketStrategy(log, *constructDefaultSslConfiguration(log, L"plain"));
    const test::Listener listener;
    const test::HostSocket socket = test::rawConnection(listener.port());
    const int peer = ::accept(static_cast<int>(listener.handle()), nullptr, nullptr);
    ASSERT_GE(peer, 0);
    const auto receiver = makeOverlappedReceiver(*strategy, socket.handle());
    char byte = 0;
    int result = -1;
    int error = 0;
    {
        const NoDescriptorLeft want;
        std::thread([&] {
            result = receiver->receive(&byte, 1);
            error = platform::WSAGetLastError();
        }).join();
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(receiver->end(), StreamEnd::Lost);
    EXPECT_EQ(error, WSAEMFILE);
    EXPECT_EQ(::recv(peer, &byte, 1, MSG_DONTWAIT), 0);
    ::close(peer);
}

} // namespace
} // namespace VexaSsl::tool
