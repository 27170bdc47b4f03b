// A failure in one direction while the other is in use.
#include "contract/support/TestCertificates.h"
#include "contract/tls/Side.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace VexaSsl::test {
namespace {

// A failure to open ends concurrent protection as well.
TEST(RecordConcurrency, failureToOpenEndsProtection) {
    const ScopedCertificates certificates;
    for (int round = 0; round < 20; ++round) {
        Side client = Side::client();
        Side server = Side::server();
        runHandshake(client, server);
        const SecPkgContext_StreamSizes sizes = server.sizes();
        Bytes altered = client.protect("hello");
        altered.back() ^= 1;
        std::atomic<bool> started = false;
        SECURITY_STATUS last = SEC_E_OK;
        std::thread protector([&] {
            Bytes memory(sizes.cbHeader + 100 + sizes.cbTrailer);
            while (last == SEC_E_OK) {
                SecBuffer entries[4] = {};
                entries[0] = {sizes.cbHeader, SECBUFFER_STREAM_HEADER, memory.data()};
                entries[1] = {100, SECBUFFER_DATA, memory.data() + sizes.cbHeader};
                entries[2] = {sizes.cbTrailer, SECBUFFER_STREAM_TRAILER,
                              memory.data() + sizes.cbHeader + 100};
                SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
                last = platform::EncryptMessage(server.context(), 0, &message, 0);
                started = true;
            }
        });
        while (!started) {
            std::this_thread::yield();
        }
        EXPECT_EQ(server.open(altered).status, SEC_E_MESSAGE_ALTERED);
        protector.join();
        EXPECT_EQ(last, SEC_E_MESSAGE_ALTERED);
    }
}

} // namespace
} // namespace VexaSsl::test
