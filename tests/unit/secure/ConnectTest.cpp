#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>

namespace VexaSsl {
namespace {

using test::LogLine;

constexpr SOCKET connection = test::SecureStage<>::connection;

class SecureSetup : public testing::Test {
protected:
    SecureSetup() { stage.make(); }

    test::SecureStage<> stage;
};

class SecureNameResolution : public SecureSetup {};

TEST_F(SecureNameResolution, argumentsAndResultOfGetaddrinfoPassThrough) {
    addrinfo hints{};
    addrinfo* list = nullptr;
    stage.lower->onGetaddrinfo = [&](const char* node, const char* service, const addrinfo* h,
                                     addrinfo** l) {
        EXPECT_STREQ(node, "peer");
        EXPECT_STREQ(service, "https");
        EXPECT_EQ(h, &hints);
        EXPECT_EQ(l, &list);
        return 0;
    };
    EXPECT_EQ(stage.strategy->getaddrinfo("peer", "https", &hints, &list), 0);
    EXPECT_EQ(stage.strategy->remoteHostName, L"peer");
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
}

TEST_F(SecureNameResolution, wideNamesAreKeptAsTheyStand) {
    EXPECT_EQ(stage.strategy->GetAddrInfoW(L"p\u00e9er", L"https", nullptr, nullptr), 0);
    EXPECT_EQ(stage.strategy->remoteHostName, L"p\u00e9er");
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
}

TEST_F(SecureNameResolution, missingNodeNameMeansLocalhost) {
    stage.strategy->getaddrinfo(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->remoteHostName, L"localhost");
    stage.strategy->remoteHostName.clear();
    stage.strategy->GetAddrInfoW(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->remoteHostName, L"localhost");
}

TEST_F(SecureNameResolution, missingServiceNameKeepsTheEarlierOne) {
    stage.strategy->getaddrinfo("peer", "https", nullptr, nullptr);
    stage.strategy->getaddrinfo(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
    stage.strategy->GetAddrInfoW(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
}

TEST_F(SecureNameResolution, failedLookupChangesNothing) {
    stage.strategy->getaddrinfo("peer", "https", nullptr, nullptr);
    stage.lower->onGetaddrinfo = [](auto...) { return WSAHOST_NOT_FOUND; };
    stage.lower->onGetAddrInfoW = [](auto...) { return WSAHOST_NOT_FOUND; };
    EXPECT_EQ(stage.strategy->getaddrinfo("other", "http", nullptr, nullptr), WSAHOST_NOT_FOUND);
    EXPECT_EQ(stage.strategy->GetAddrInfoW(L"other", L"http", nullptr, nullptr), WSAHOST_NOT_FOUND);
    EXPECT_EQ(stage.strategy->remoteHostName, L"peer");
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
}

TEST_F(SecureNameResolution, exhaustedMemoryGivesEightAlthoughTheListIsMade) {
    stage.platform.MultiByteToWideChar = [again = stage.platform.MultiByteToWideChar,
                                          first = true](auto... arguments) mutable {
        return std::exchange(first, false) ? throw std::bad_alloc() : again(arguments...);
    };
    addrinfo entry{};
    stage.lower->onGetaddrinfo = [&entry](const char*, const char*, const addrinfo*,
                                          addrinfo** res) { return *res = &entry, 0; };
    addrinfo* list = nullptr;
    EXPECT_EQ(stage.strategy->getaddrinfo("peer", nullptr, nullptr, &list), 8);
    EXPECT_EQ(list, &entry);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{test::outOfMemoryLine()}));
    EXPECT_EQ(stage.lowerCalls("getaddrinfo"), 1);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
}

TEST_F(SecureNameResolution, everyOtherExceptionGivesMinusOneUnderOnePrefix) {
    stage.lower->onGetaddrinfo = [](auto...) -> int { throw std::runtime_error("toy"); };
    stage.lower->onGetAddrInfoW = [](auto...) -> int { throw std::logic_error("odd"); };
    EXPECT_EQ(stage.strategy->getaddrinfo("peer", nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(stage.strategy->GetAddrInfoW(L"peer", nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error, L"An unexpected C++ standard library exception occurred: toy"},
            {Severity::Error, L"An unexpected C++ standard library exception occurred: odd"}}));
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

TEST_F(SecureNameResolution, exhaustedMemoryOfTheWideLookupGivesEight) {
    stage.lower->onGetAddrInfoW = [](auto...) -> int { throw std::bad_alloc(); };
    EXPECT_EQ(stage.strategy->GetAddrInfoW(L"peer", nullptr, nullptr, nullptr),
              WSA_NOT_ENOUGH_MEMORY);
}

class SecureConnect : public SecureSetup {};

TEST_F(SecureConnect, missingNameFailsBeforeTheNetwork) {
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{test::noHostNameLine}));
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

TEST_F(SecureConnect, resolvedNameIsAuthenticated) {
    stage.resolve("peer");
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"peer"}));
    EXPECT_EQ(stage.strategy->socket, connection);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_FALSE(stage.strategy->record->isServer);
    EXPECT_EQ(stage.strategy->record->socket, connection);
}

TEST_F(SecureConnect, localhostIsAuthenticatedAfterANullNode) {
    stage.resolve(nullptr);
    stage.strategy->connect(connection, nullptr, 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"localhost"}));
}

TEST_F(SecureConnect, lowerConnectRunsBeforeTheHandshakeAndGivesTheResult) {
    stage.resolve("peer");
    sockaddr address{};
    stage.lower->onConnect = [&](SOCKET s, const sockaddr* name, int length) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(length, 16);
        EXPECT_TRUE(stage.targets.empty());
        return 4711;
    };
    EXPECT_EQ(stage.strategy->connect(connection, &address, 16), 4711);
}

TEST_F(SecureConnect, failedLowerConnectLeavesEverything) {
    stage.resolve("peer");
    stage.lower->onConnect = [&](auto...) {
        stage.platform.lastError = WSAEWOULDBLOCK;
        return SOCKET_ERROR;
    };
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAEWOULDBLOCK);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_TRUE(stage.targets.empty());
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_TRUE(stage.log.lines.empty());
}

} // namespace
} // namespace VexaSsl
