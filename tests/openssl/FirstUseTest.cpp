// Each allocation of OpenSSL's fails once while a process uses OpenSSL for the first time: for a
// server's credentials and its first answer to a client. Each try is a process of its own.
#include "CertificateFolder.h"
#include "contract/tls/Side.h"
#include "fakes/Sampler.h"
#include "fakes/Sweep.h"
#include "openssl/CertificateFolderTest.h"
#include "openssl/OpenSslAllocations.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace VexaSsl::test {
namespace {

const std::string row = "Every allocation of OpenSSL's first use fails once";
// One of this number of allocations fails usually.
constexpr std::size_t usualStep = 29;

// What the first use ends with, as the exit status of its process.
enum Ending { succeeded, outOfMemory, otherFailure, unprepared };

Ending endingOf(SECURITY_STATUS status) {
    if (status >= 0) {
        return succeeded;
    }
    return status == SEC_E_INSUFFICIENT_MEMORY ? outOfMemory : otherFailure;
}

// The shortest ClientHello that a server with an ECDSA certificate answers.
Bytes clientHello() {
    return bytesOf(std::string("\x16\x03\x01\0\x3f\x01\0\0\x3b\x03\x03", 11)) + Bytes(32) +
           bytesOf(std::string("\0\0\x02\xc0\x2b\x01\0\0\x10", 9)) +
           bytesOf(std::string("\0\x0a\0\x04\0\x02\0\x17\0\x0d\0\x04\0\x02\x04\x03", 16));
}

Ending answerClient(CredHandle& credential) {
    Bytes received = clientHello();
    SecBuffer inputs[2] = {};
    inputs[0] = {static_cast<ULONG>(received.size()), SECBUFFER_TOKEN, received.data()};
    SecBuffer outputs[1] = {};
    outputs[0].BufferType = SECBUFFER_TOKEN;
    SecBufferDesc input{SECBUFFER_VERSION, 2, inputs};
    SecBufferDesc output{SECBUFFER_VERSION, 1, outputs};
    ULONG attributes = 0;
    TimeStamp expiry{};
    CtxtHandle context{};
    return endingOf(platform::AcceptSecurityContext(&credential, nullptr, &input,
                                                    serverRequirements, SECURITY_NETWORK_DREP,
                                                    &context, &output, &attributes, &expiry));
}

Ending useOpenSsl() {
    const OpenedStore store;
    const HeldContext certificate = store.get() ? firstIn(store.get()) : nullptr;
    if (!certificate) {
        return platform::GetLastError() == ERROR_NOT_ENOUGH_MEMORY ? outOfMemory : otherFailure;
    }
    CredHandle credential{};
    const Ending ending = endingOf(acquire(SECPKG_CRED_INBOUND, certificate.get(), credential));
    return ending == succeeded ? answerClient(credential) : ending;
}

struct Outcome {
    int status = 0;
    std::size_t allocations = 0;
};

// The first use in a new process, in which this allocation fails.
Outcome firstUse(std::size_t failing) {
    int counts[2] = {};
    if (pipe(counts) != 0) {
        return {unprepared, 0};
    }
    const pid_t child = fork();
    if (child == 0) {
        OpenSslAllocations::failing = failing;
        const bool isFirst = OpenSslAllocations::replace();
        const Ending ending = isFirst ? useOpenSsl() : unprepared;
        const bool isWritten =
            write(counts[1], &OpenSslAllocations::count, sizeof OpenSslAllocations::count) > 0;
        _exit(isWritten ? ending : unprepared);
    }
    close(counts[1]);
    Outcome outcome;
    waitpid(child, &outcome.status, 0);
    if (read(counts[0], &outcome.allocations, sizeof outcome.allocations) <= 0) {
        outcome.allocations = 0;
    }
    close(counts[0]);
    return outcome;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

[[noreturn]] void failEachAllocation() {
    const TemporaryCertificateFolder folder;
    folder.write("my/server.pem", contentOf(certificateFile("server-ecdsa", "cert")) +
                                      contentOf(certificateFile("server-ecdsa", "key")));
    const Outcome whole = firstUse(OpenSslAllocations::none);
    EXPECT_EQ(whole.status, succeeded);
    EXPECT_GT(whole.allocations, 1000U);
    Sampler sampler(sweepStep(usualStep));
    std::size_t endings[unprepared] = {};
    for (std::size_t position = 0; position < whole.allocations; ++position) {
        if (!sampler.selectsNext()) {
            continue;
        }
        const int status = firstUse(position).status;
        if (WIFEXITED(status) && WEXITSTATUS(status) < unprepared) {
            ++endings[WEXITSTATUS(status)];
        } else {
            ADD_FAILURE() << "allocation " << position << ": status " << status;
        }
    }
    EXPECT_GT(endings[outOfMemory], 0U);
    reportFigure(row, std::to_string(whole.allocations) + " allocations; of those tried, " +
                          std::to_string(endings[succeeded]) + " without effect, " +
                          std::to_string(endings[outOfMemory]) + " reported as lack of memory, " +
                          std::to_string(endings[otherFailure]) + " as another failure");
    std::exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(FirstUse, failingAllocationIsReported) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(failEachAllocation(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace VexaSsl::test
