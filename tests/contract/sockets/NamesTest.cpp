// Name lookup in both directions, narrow and wide.
#include "contract/sockets/Loopback.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace VexaSsl::test {

namespace {

constexpr int winsockNumericHost = 2;
constexpr int winsockNameRequired = 4;
constexpr int winsockNumericService = 8;

sockaddr_in loopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int nameOf(const sockaddr_in& address, wchar_t* node, DWORD nodeLength, wchar_t* service,
           DWORD serviceLength, int flags) {
    return platform::GetNameInfoW(reinterpret_cast<const sockaddr*>(&address), sizeof(address),
                                  node, nodeLength, service, serviceLength, flags);
}

} // namespace

using Names = ContractTest;

TEST_F(Names, literalAddressResolves) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    ASSERT_EQ(platform::getaddrinfo("127.0.0.1", "443", &hints, &list), 0);
    EXPECT_EQ(list->ai_family, AF_INET);
    EXPECT_EQ(reinterpret_cast<const sockaddr_in*>(list->ai_addr)->sin_port, htons(443));
    host::freeaddrinfo(list);
}

TEST_F(Names, nullNodeIsLoopback) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* list = nullptr;
    ASSERT_EQ(platform::getaddrinfo(nullptr, "80", &hints, &list), 0);
    EXPECT_EQ(reinterpret_cast<const sockaddr_in*>(list->ai_addr)->sin_addr.s_addr,
              htonl(INADDR_LOOPBACK));
    host::freeaddrinfo(list);
}

TEST_F(Names, failuresAreWinsockCodesInResultAndLastError) {
    addrinfo numeric{};
    numeric.ai_flags = AI_NUMERICHOST;
    addrinfo* list = nullptr;
    EXPECT_EQ(platform::getaddrinfo("no number", nullptr, &numeric, &list), WSAHOST_NOT_FOUND);
    EXPECT_EQ(lastError(), WSAHOST_NOT_FOUND);
    addrinfo family{};
    family.ai_family = 9999;
    EXPECT_EQ(platform::getaddrinfo("127.0.0.1", nullptr, &family, &list), WSAEAFNOSUPPORT);
    EXPECT_EQ(lastError(), WSAEAFNOSUPPORT);
    addrinfo flags{};
    flags.ai_flags = 0x40000000;
    EXPECT_EQ(platform::getaddrinfo("127.0.0.1", nullptr, &flags, &list), WSAEINVAL);
    addrinfo stream{};
    stream.ai_socktype = SOCK_STREAM;
    EXPECT_EQ(platform::getaddrinfo("127.0.0.1", "no such service", &stream, &list),
              WSATYPE_NOT_FOUND);
    addrinfo type{};
    type.ai_socktype = 9999;
    EXPECT_EQ(platform::getaddrinfo("127.0.0.1", "80", &type, &list), WSAESOCKTNOSUPPORT);
    EXPECT_EQ(platform::getaddrinfo(nullptr, nullptr, nullptr, &list), WSAHOST_NOT_FOUND);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(platform::getaddrinfo("127.0.0.1", nullptr, nullptr, nullptr), WSAEFAULT);
}

TEST_F(Names, freeingNullIsHarmless) {
    EXPECT_NO_THROW(host::freeaddrinfo(nullptr));
    EXPECT_NO_THROW(host::FreeAddrInfoW(nullptr));
}

TEST_F(Names, wideListEqualsNarrowList) {
    addrinfo* narrow = nullptr;
    ADDRINFOW* wide = nullptr;
    ASSERT_EQ(platform::getaddrinfo("127.0.0.1", "443", nullptr, &narrow), 0);
    ASSERT_EQ(platform::GetAddrInfoW(L"127.0.0.1", L"443", nullptr, &wide), 0);
    const ADDRINFOW* right = wide;
    for (const addrinfo* left = narrow; left != nullptr; left = left->ai_next) {
        ASSERT_NE(right, nullptr);
        EXPECT_EQ(right->ai_family, left->ai_family);
        EXPECT_EQ(right->ai_socktype, left->ai_socktype);
        EXPECT_EQ(right->ai_protocol, left->ai_protocol);
        ASSERT_EQ(right->ai_addrlen, left->ai_addrlen);
        EXPECT_EQ(std::memcmp(right->ai_addr, left->ai_addr, left->ai_addrlen), 0);
        right = right->ai_next;
    }
    EXPECT_EQ(right, nullptr);
    host::freeaddrinfo(narrow);
    host::FreeAddrInfoW(wide);
}

TEST_F(Names, wideListCarriesTheCanonicalName) {
    ADDRINFOW hints{};
    hints.ai_flags = AI_CANONNAME | AI_NUMERICHOST;
    hints.ai_protocol = IPPROTO_UDP;
    ADDRINFOW* list = nullptr;
    ASSERT_EQ(platform::GetAddrInfoW(L"127.0.0.1", nullptr, &hints, &list), 0);
    EXPECT_STREQ(list->ai_canonname, L"127.0.0.1");
    EXPECT_EQ(list->ai_protocol, IPPROTO_UDP);
    host::FreeAddrInfoW(list);
}

TEST_F(Names, wideFailuresAreWinsockCodesInResultAndLastError) {
    ADDRINFOW hints{};
    hints.ai_flags = AI_NUMERICHOST;
    ADDRINFOW* list = nullptr;
    EXPECT_EQ(platform::GetAddrInfoW(L"\u00E4\U0001F600", nullptr, &hints, &list),
              WSAHOST_NOT_FOUND);
    EXPECT_EQ(lastError(), WSAHOST_NOT_FOUND);
    const wchar_t loneSurrogate[] = {static_cast<wchar_t>(0xD800), 0};
    EXPECT_EQ(platform::GetAddrInfoW(loneSurrogate, nullptr, &hints, &list), WSAHOST_NOT_FOUND);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(platform::GetAddrInfoW(L"127.0.0.1", nullptr, nullptr, nullptr), WSAEFAULT);
}

TEST_F(Names, numericFlagsGiveNumericNames) {
    wchar_t node[10]; // just large enough
    wchar_t service[4];
    ASSERT_EQ(nameOf(loopbackAddress(443), node, 10, service, 4,
                     winsockNumericHost | winsockNumericService),
              0);
    EXPECT_STREQ(node, L"127.0.0.1");
    EXPECT_STREQ(service, L"443");
}

TEST_F(Names, nodeNameIsGivenWithoutFlags) {
    wchar_t node[1025] = L"";
    ASSERT_EQ(nameOf(loopbackAddress(0), node, 1025, nullptr, 0, 0), 0);
    EXPECT_GT(std::wstring(node).size(), 0U);
}

TEST_F(Names, tooSmallBufferIsFault) {
    wchar_t node[4];
    EXPECT_EQ(nameOf(loopbackAddress(0), node, 4, nullptr, 0, winsockNumericHost), WSAEFAULT);
    EXPECT_EQ(lastError(), WSAEFAULT);
}

TEST_F(Names, requiredNameWithoutBuffersIsNotFound) {
    EXPECT_EQ(nameOf(loopbackAddress(0), nullptr, 64, nullptr, 64, winsockNameRequired),
              WSAHOST_NOT_FOUND);
}

TEST_F(Names, invalidAddressFails) {
    sockaddr_in address = loopbackAddress(0);
    address.sin_family = 9999;
    wchar_t node[64];
    EXPECT_EQ(nameOf(address, node, 64, nullptr, 0, 0), WSAEAFNOSUPPORT);
    EXPECT_EQ(platform::GetNameInfoW(nullptr, 16, node, 64, nullptr, 0, 0), WSAEFAULT);
    EXPECT_EQ(
        platform::GetNameInfoW(reinterpret_cast<sockaddr*>(&address), -1, node, 64, nullptr, 0, 0),
        WSAEFAULT);
}

} // namespace VexaSsl::test
