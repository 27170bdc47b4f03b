// The texts of error numbers.
#include "SecurityShapes.h"
#include "contract/support/ContractTest.h"
#include "platform/contract/WindowsBase.h"

#include <gtest/gtest.h>

#include <string>

namespace VexaSsl::test {
namespace {

constexpr DWORD libraryFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                               FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_MAX_WIDTH_MASK;
constexpr DWORD unknownCode = 0x12345678;

struct Message {
    DWORD units;
    bool allocated;
    std::wstring text;
};

Message messageOf(DWORD code, DWORD flags = libraryFlags) {
    wchar_t* buffer = nullptr;
    const DWORD units = platform::FormatMessageW(flags, nullptr, code, 0,
                                                 reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    Message message{units, buffer != nullptr, buffer ? buffer : L""};
    EXPECT_EQ(platform::LocalFree(buffer), nullptr);
    return message;
}

using FormatMessageW = ContractTest;
using LocalFree = ContractTest;

TEST_F(FormatMessageW, zeroHasTheSuccessText) {
    EXPECT_EQ(messageOf(0).text, L"The operation completed successfully. ");
}

TEST_F(FormatMessageW, resultCountsTheUnitsOfTheText) {
    const Message message = messageOf(WSAECONNRESET);
    EXPECT_EQ(message.units, message.text.size());
}

TEST_F(FormatMessageW, unknownCodeHasNoText) {
    const Message message = messageOf(unknownCode);
    EXPECT_EQ(message.units, 0U);
    EXPECT_EQ(message.text, L"");
}

TEST_F(FormatMessageW, textEndsWithLineEndWithoutTheWidthMask) {
    const std::wstring text =
        messageOf(0, FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM).text;
    EXPECT_EQ(text, L"The operation completed successfully.\r\n");
}

TEST_F(FormatMessageW, callersBufferReceivesTheText) {
    wchar_t buffer[64];
    const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    const DWORD units = platform::FormatMessageW(flags, nullptr, 0, 0, buffer, 64, nullptr);
    EXPECT_EQ(std::wstring(buffer), L"The operation completed successfully. ");
    EXPECT_EQ(units, std::wstring(buffer).size());
}

TEST_F(FormatMessageW, tooSmallBufferGivesZero) {
    wchar_t buffer[2];
    const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    EXPECT_EQ(platform::FormatMessageW(flags, nullptr, 0, 0, buffer, 2, nullptr), 0U);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST_F(FormatMessageW, textIsFoundOnlyWithTheSystemFlag) {
    EXPECT_EQ(messageOf(0, FORMAT_MESSAGE_ALLOCATE_BUFFER).units, 0U);
}

TEST_F(LocalFree, freeingNullIsHarmless) {
    EXPECT_EQ(platform::LocalFree(nullptr), nullptr);
}

class TextOfCode : public ContractTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(TextOfCode, errorTextIsOneReadableLine) {
    const std::wstring text = messageOf(GetParam()).text;
    ASSERT_GT(text.size(), 10U);
    EXPECT_EQ(text.find_first_of(L"\r\n%"), std::wstring::npos);
    EXPECT_TRUE(text.ends_with(L". ")) << text;
    for (const wchar_t unit : text) {
        EXPECT_LE(unit, 0x7E); // a log in the classic locale can hold it
    }
}

INSTANTIATE_TEST_SUITE_P(
    Sockets, TextOfCode,
    ::testing::Values(WSA_INVALID_HANDLE, WSA_NOT_ENOUGH_MEMORY, WSA_INVALID_PARAMETER,
                      WSA_OPERATION_ABORTED, WSA_IO_INCOMPLETE, WSA_IO_PENDING, WSAEINTR, WSAEBADF,
                      WSAEACCES, WSAEFAULT, WSAEINVAL, WSAEMFILE, WSAEWOULDBLOCK, WSAEINPROGRESS,
                      WSAEALREADY, WSAENOTSOCK, WSAEDESTADDRREQ, WSAEMSGSIZE, WSAEPROTOTYPE,
                      WSAENOPROTOOPT, WSAEPROTONOSUPPORT, WSAESOCKTNOSUPPORT, WSAEOPNOTSUPP,
                      WSAEPFNOSUPPORT, WSAEAFNOSUPPORT, WSAEADDRINUSE, WSAEADDRNOTAVAIL));
INSTANTIATE_TEST_SUITE_P(Network, TextOfCode,
                         ::testing::Values(WSAENETDOWN, WSAENETUNREACH, WSAENETRESET,
                                           WSAECONNABORTED, WSAECONNRESET, WSAENOBUFS, WSAEISCONN,
                                           WSAENOTCONN, WSAESHUTDOWN, WSAETIMEDOUT, WSAECONNREFUSED,
                                           WSAENAMETOOLONG, WSAEHOSTDOWN, WSAEHOSTUNREACH,
                                           WSATYPE_NOT_FOUND, WSAHOST_NOT_FOUND, WSATRY_AGAIN,
                                           WSANO_RECOVERY, WSANO_DATA));
INSTANTIATE_TEST_SUITE_P(
    SecurityPackage, TextOfCode,
    ::testing::Values(SEC_I_CONTINUE_NEEDED, SEC_I_CONTEXT_EXPIRED, SEC_I_INCOMPLETE_CREDENTIALS,
                      SEC_I_RENEGOTIATE, SEC_E_INSUFFICIENT_MEMORY, SEC_E_INVALID_HANDLE,
                      SEC_E_UNSUPPORTED_FUNCTION, SEC_E_INTERNAL_ERROR, SEC_E_SECPKG_NOT_FOUND,
                      SEC_E_INVALID_TOKEN, SEC_E_LOGON_DENIED, SEC_E_UNKNOWN_CREDENTIALS,
                      SEC_E_NO_CREDENTIALS, SEC_E_MESSAGE_ALTERED, SEC_E_OUT_OF_SEQUENCE,
                      SEC_E_CONTEXT_EXPIRED, SEC_E_INCOMPLETE_MESSAGE, SEC_E_INCOMPLETE_CREDENTIALS,
                      SEC_E_BUFFER_TOO_SMALL, SEC_E_WRONG_PRINCIPAL, SEC_E_UNTRUSTED_ROOT,
                      SEC_E_ILLEGAL_MESSAGE, SEC_E_CERT_UNKNOWN, SEC_E_CERT_EXPIRED,
                      SEC_E_ENCRYPT_FAILURE, SEC_E_DECRYPT_FAILURE, SEC_E_ALGORITHM_MISMATCH,
                      SEC_E_CERT_WRONG_USAGE));
INSTANTIATE_TEST_SUITE_P(CertificatesAndBase, TextOfCode,
                         ::testing::Values(CRYPT_E_NOT_FOUND, CRYPT_E_PENDING_CLOSE,
                                           TRUST_E_CERT_SIGNATURE, TRUST_E_BASIC_CONSTRAINTS,
                                           CERT_E_EXPIRED, CERT_E_UNTRUSTEDROOT, CERT_E_CHAINING,
                                           CERT_E_CN_NO_MATCH, CERT_E_WRONG_USAGE,
                                           CERT_E_INVALID_NAME, CERT_E_CRITICAL,
                                           ERROR_ACCESS_DENIED, ERROR_INSUFFICIENT_BUFFER,
                                           ERROR_NO_UNICODE_TRANSLATION, ERROR_MORE_DATA));

} // namespace
} // namespace VexaSsl::test
