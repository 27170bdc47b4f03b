// Statuses that the security package of Wine never returns: the status of one call is replaced.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "integration/support/Pki.h"
#include "integration/windows/ImportedCall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <schannel.h>
#include <security.h>

#include <array>
#include <optional>
#include <string>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;

const ImportedCall* replaced = nullptr; // replaced by the function below

// The handshake is real; only the status of its last step is replaced.
SECURITY_STATUS SEC_ENTRY refuseName(PCredHandle credential, PCtxtHandle context, SEC_WCHAR* target,
                                     unsigned long requirements, unsigned long first,
                                     unsigned long representation, PSecBufferDesc input,
                                     unsigned long second, PCtxtHandle made, PSecBufferDesc output,
                                     unsigned long* attributes, PTimeStamp expiry) {
    const SECURITY_STATUS real = replaced->original<decltype(&::InitializeSecurityContextW)>()(
        credential, context, target, requirements, first, representation, input, second, made,
        output, attributes, expiry);
    return real == SEC_E_OK ? SEC_E_WRONG_PRINCIPAL : real;
}

TEST(PackageAnswer, serverWithAnotherNameIsRefusedWithTheReason) {
    const ImportedCall call("InitializeSecurityContextW", reinterpret_cast<void*>(&refuseName));
    replaced = &call;
    const ConnectedPair pair = connectEncrypted();
    EXPECT_EQ(pair.client.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.client.log->linesFrom(Severity::Info),
        ElementsAre(
            systemError(L"InitializeSecurityContext", 0x80090322),
            info(L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable cause: "
                 L"None of the names on the certificate that the server supplied to us match the "
                 L"address we connected to [localhost]"),
            info(L"It is not possible to report the names on the certificate."),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    pair.client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
    EXPECT_TRUE(isShutForSending(pair.client.socket.handle()));
}

SECURITY_STATUS SEC_ENTRY refuseKey(SEC_WCHAR*, SEC_WCHAR*, unsigned long, void*, void*,
                                    SEC_GET_KEY_FN, void*, PCredHandle, PTimeStamp) {
    return SEC_E_UNKNOWN_CREDENTIALS;
}

TEST(PackageAnswer, unreadableKeyIsLoggedWithTheUser) {
    const ImportedCall call("AcquireCredentialsHandleW", reinterpret_cast<void*>(&refuseKey));
    const ConnectedPair pair = connectEncrypted();
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    std::array<wchar_t, 257> user{};
    auto size = static_cast<DWORD>(user.size());
    ASSERT_TRUE(GetUserNameW(user.data(), &size));
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
        ElementsAre(systemError(L"AcquireCredentialsHandle", 0x8009030D),
                    info(L"AcquireCredentialsHandle failed with [SEC_E_UNKNOWN_CREDENTIALS]. "
                         L"Probable cause: user [" +
                         std::wstring(user.data()) +
                         L"] requires read access to the certificate private key."),
                    error(L"Can't establish a security context. aquire credentials failed")));
}

SECURITY_STATUS decryption = SEC_E_OK;
SECURITY_STATUS SEC_ENTRY decryptTo(PCtxtHandle, PSecBufferDesc, unsigned long, unsigned long*) {
    return decryption;
}

// Receives on the server, with a status for DecryptMessage.
std::optional<std::string> receiveAnswered(ConnectedPair& pair, SECURITY_STATUS answer) {
    decryption = answer;
    const ImportedCall call("DecryptMessage", reinterpret_cast<void*>(&decryptTo));
    EXPECT_TRUE(pair.client.sendAll("whatever"));
    return pair.server.receive(100);
}

// DebugBreak would end a process without a debugger; the test skips it.
TEST(PackageAnswer, closureIsAnErrorLineABreakpointAndTheEndOfTheStream) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    const int before = breakpoints();
    EXPECT_EQ(receiveAnswered(pair, SEC_I_CONTEXT_EXPIRED), "");
    EXPECT_EQ(breakpoints(), before + 1);
    EXPECT_THAT(pair.server.log->linesFrom(Severity::Warning),
                ElementsAre(systemError(L"DecryptMessage", 0x00090317)));
}

TEST(PackageAnswer, requestToRenegotiateIsTheEndOfTheStream) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(receiveAnswered(pair, SEC_I_RENEGOTIATE), "");
    EXPECT_THAT(pair.server.log->linesFrom(Severity::Info),
                ::testing::Contains(info(L"Renegotiate request received")));
}

TEST(PackageAnswer, closureResetsAnOverlappedReceive) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    decryption = SEC_I_CONTEXT_EXPIRED;
    const ImportedCall call("DecryptMessage", reinterpret_cast<void*>(&decryptTo));
    ASSERT_TRUE(pair.client.sendAll("whatever"));
    std::string bytes(100, '\0');
    WSABUF buffer{100, bytes.data()};
    Overlapped overlapped;
    DWORD count = 0;
    DWORD flags = 0;
    server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags, overlapped.get(),
                          nullptr);
    ASSERT_TRUE(overlapped.wait(server.socket.handle(), count));
    EXPECT_EQ(server.stack->completeWSARecv(0, &count, nullptr), -1);
    EXPECT_EQ(WSAGetLastError(), WSAECONNRESET);
}

} // namespace
} // namespace VexaSsl::test
