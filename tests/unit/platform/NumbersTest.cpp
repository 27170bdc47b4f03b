// The documented numbers and layouts of the platform: host, core and binding must agree on them.
#include "VexaSsl/Sockets.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"
#include "platform/contract/WindowsBase.h"
#include "platform/contract/Winsock.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace VexaSsl {
namespace {

// Signed macros on some systems, typed constants on others.
template <typename Value>
DWORD number(Value value) {
    return static_cast<DWORD>(value);
}

TEST(PlatformNumbers, socketNumbersAreWinsocks) {
    EXPECT_EQ(msgPeek, 2);
    EXPECT_EQ(msgWaitAll, 8);
    EXPECT_EQ(SOCKET_ERROR, -1);
    EXPECT_EQ(INVALID_SOCKET, 18446744073709551615U);
    EXPECT_EQ(SD_BOTH, 2);
    EXPECT_EQ(TRUE, 1);
    EXPECT_EQ(FALSE, 0);
}

TEST(PlatformNumbers, socketErrorsAreWinsocks) {
    EXPECT_EQ(WSA_NOT_ENOUGH_MEMORY, 8);
    EXPECT_EQ(WSAEINVAL, 10022);
    EXPECT_EQ(WSAEWOULDBLOCK, 10035);
    EXPECT_EQ(WSAEOPNOTSUPP, 10045);
    EXPECT_EQ(WSAECONNABORTED, 10053);
    EXPECT_EQ(WSAECONNRESET, 10054);
}

TEST(PlatformNumbers, securityStatusesAreAsDocumented) {
    EXPECT_EQ(number(SEC_E_OK), 0U);
    EXPECT_EQ(number(SEC_I_CONTINUE_NEEDED), 0x00090312U);
    EXPECT_EQ(number(SEC_I_CONTEXT_EXPIRED), 0x00090317U);
    EXPECT_EQ(number(SEC_I_INCOMPLETE_CREDENTIALS), 0x00090320U);
    EXPECT_EQ(number(SEC_I_RENEGOTIATE), 0x00090321U);
    EXPECT_EQ(number(SEC_E_INVALID_TOKEN), 0x80090308U);
    EXPECT_EQ(number(SEC_E_UNKNOWN_CREDENTIALS), 0x8009030DU);
    EXPECT_EQ(number(SEC_E_NO_CREDENTIALS), 0x8009030EU);
    EXPECT_EQ(number(SEC_E_INCOMPLETE_MESSAGE), 0x80090318U);
    EXPECT_EQ(number(SEC_E_WRONG_PRINCIPAL), 0x80090322U);
}

TEST(PlatformNumbers, securityBuffersAreAsDocumented) {
    EXPECT_EQ(number(SECBUFFER_VERSION), 0U);
    EXPECT_EQ(number(SECBUFFER_EMPTY), 0U);
    EXPECT_EQ(number(SECBUFFER_DATA), 1U);
    EXPECT_EQ(number(SECBUFFER_TOKEN), 2U);
    EXPECT_EQ(number(SECBUFFER_MISSING), 4U);
    EXPECT_EQ(number(SECBUFFER_EXTRA), 5U);
    EXPECT_EQ(number(SECBUFFER_STREAM_TRAILER), 6U);
    EXPECT_EQ(number(SECBUFFER_STREAM_HEADER), 7U);
    EXPECT_EQ(number(SECBUFFER_ALERT), 17U);
}

TEST(PlatformNumbers, securityPackageNumbersAreAsDocumented) {
    EXPECT_EQ(number(SECPKG_CRED_INBOUND), 1U);
    EXPECT_EQ(number(SECPKG_CRED_OUTBOUND), 2U);
    EXPECT_EQ(number(SECPKG_ATTR_STREAM_SIZES), 4U);
    EXPECT_EQ(number(SECPKG_ATTR_REMOTE_CERT_CONTEXT), 0x53U);
    EXPECT_EQ(number(SECPKG_ATTR_LOCAL_CERT_CONTEXT), 0x54U);
    EXPECT_EQ(number(SECPKG_ATTR_CONNECTION_INFO), 0x5AU);
    EXPECT_EQ(number(SECPKG_ATTR_CIPHER_INFO), 0x64U);
    EXPECT_EQ(number(SECURITY_NETWORK_DREP), 0U);
    EXPECT_EQ(number(SCHANNEL_CRED_VERSION), 4U);
    EXPECT_EQ(number(ISC_RET_CONFIDENTIALITY), 0x10U);
    EXPECT_EQ(number(ASC_RET_CONFIDENTIALITY), 0x10U);
}

TEST(PlatformNumbers, textAndErrorNumbersAreAsDocumented) {
    EXPECT_EQ(number(CP_ACP), 0U);
    EXPECT_EQ(number(CP_UTF8), 65001U);
    EXPECT_EQ(number(FORMAT_MESSAGE_ALLOCATE_BUFFER), 0x100U);
    EXPECT_EQ(number(FORMAT_MESSAGE_IGNORE_INSERTS), 0x200U);
    EXPECT_EQ(number(FORMAT_MESSAGE_FROM_SYSTEM), 0x1000U);
    EXPECT_EQ(number(FORMAT_MESSAGE_MAX_WIDTH_MASK), 0xFFU);
    EXPECT_EQ(number(CRYPT_E_PENDING_CLOSE), 0x8009200FU);
}

TEST(PlatformShapes, streamSizesAreFiveWordsInTheirOrder) {
    EXPECT_EQ(sizeof(SecPkgContext_StreamSizes), 20U);
    EXPECT_EQ(offsetof(SecPkgContext_StreamSizes, cbHeader), 0U);
    EXPECT_EQ(offsetof(SecPkgContext_StreamSizes, cbTrailer), 4U);
    EXPECT_EQ(offsetof(SecPkgContext_StreamSizes, cbMaximumMessage), 8U);
    EXPECT_EQ(offsetof(SecPkgContext_StreamSizes, cBuffers), 12U);
    EXPECT_EQ(offsetof(SecPkgContext_StreamSizes, cbBlockSize), 16U);
}

TEST(PlatformShapes, securityBuffersAreSizeTypeAndPlace) {
    EXPECT_EQ(sizeof(SecBuffer), 16U);
    EXPECT_EQ(offsetof(SecBuffer, cbBuffer), 0U);
    EXPECT_EQ(offsetof(SecBuffer, BufferType), 4U);
    EXPECT_EQ(offsetof(SecBuffer, pvBuffer), 8U);
    EXPECT_EQ(sizeof(SecBufferDesc), 16U);
    EXPECT_EQ(offsetof(SecBufferDesc, ulVersion), 0U);
    EXPECT_EQ(offsetof(SecBufferDesc, cBuffers), 4U);
    EXPECT_EQ(offsetof(SecBufferDesc, pBuffers), 8U);
}

TEST(PlatformShapes, handlesAreTwoWords) {
    EXPECT_EQ(sizeof(CtxtHandle), 16U);
    EXPECT_EQ(sizeof(CredHandle), 16U);
}

} // namespace
} // namespace VexaSsl
