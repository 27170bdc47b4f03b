#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

using test::LogLine;
using test::ToyCipher;

constexpr SOCKET connection = test::SecureStage<>::connection;
constexpr SOCKET listener = test::SecureStage<>::listener;
constexpr int untouched = 4711;

fd_set setOf(std::initializer_list<SOCKET> sockets) {
    fd_set set{};
    for (const SOCKET s : sockets) {
        set.fd_array[set.fd_count++] = s;
    }
    return set;
}

std::vector<SOCKET> shown(const fd_set& set) {
    return {set.fd_array, set.fd_array + set.fd_count};
}

class Readiness : public testing::Test {
protected:
    Readiness() { stage.make(); }

    test::SecureStage<> stage;
};

// --- Names

class ReadinessNames : public Readiness {};

TEST_F(ReadinessNames, argumentsAndResultOfGetaddrinfoPassThrough) {
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

TEST_F(ReadinessNames, wideNamesAreKeptAsTheyStand) {
    EXPECT_EQ(stage.strategy->GetAddrInfoW(L"p\u00e9er", L"https", nullptr, nullptr), 0);
    EXPECT_EQ(stage.strategy->remoteHostName, L"p\u00e9er");
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
}

TEST_F(ReadinessNames, missingNodeNameMeansLocalhost) {
    stage.strategy->getaddrinfo(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->remoteHostName, L"localhost");
    stage.strategy->remoteHostName.clear();
    stage.strategy->GetAddrInfoW(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->remoteHostName, L"localhost");
}

TEST_F(ReadinessNames, missingServiceNameKeepsTheEarlierOne) {
    stage.strategy->getaddrinfo("peer", "https", nullptr, nullptr);
    stage.strategy->getaddrinfo(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
    stage.strategy->GetAddrInfoW(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
}

TEST_F(ReadinessNames, failedLookUpChangesNothing) {
    stage.strategy->getaddrinfo("peer", "https", nullptr, nullptr);
    stage.lower->onGetaddrinfo = [](auto...) { return WSAHOST_NOT_FOUND; };
    stage.lower->onGetAddrInfoW = [](auto...) { return WSAHOST_NOT_FOUND; };
    EXPECT_EQ(stage.strategy->getaddrinfo("other", "http", nullptr, nullptr), WSAHOST_NOT_FOUND);
    EXPECT_EQ(stage.strategy->GetAddrInfoW(L"other", L"http", nullptr, nullptr), WSAHOST_NOT_FOUND);
    EXPECT_EQ(stage.strategy->remoteHostName, L"peer");
    EXPECT_EQ(stage.strategy->remoteServiceName, L"https");
}

TEST_F(ReadinessNames, exhaustedMemoryGivesEightAlthoughTheListIsMade) {
    stage.platform.MultiByteToWideChar = [again = stage.platform.MultiByteToWideChar,
                                          first = true](auto... arguments) mutable {
        return std::exchange(first, false) ? throw std::bad_alloc() : again(arguments...);
    };
    EXPECT_EQ(stage.strategy->getaddrinfo("peer", nullptr, nullptr, nullptr), 8);
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{{Severity::Error, L"A memory allocation failed. std::bad_alloc"}}));
    EXPECT_EQ(stage.lowerCalls("getaddrinfo"), 1);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
}

TEST_F(ReadinessNames, everyOtherExceptionGivesMinusOneUnderOnePrefix) {
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

TEST_F(ReadinessNames, exhaustedMemoryOfTheWideLookUpGivesEight) {
    stage.lower->onGetAddrInfoW = [](auto...) -> int { throw std::bad_alloc(); };
    EXPECT_EQ(stage.strategy->GetAddrInfoW(L"peer", nullptr, nullptr, nullptr),
              WSA_NOT_ENOUGH_MEMORY);
}

// --- connect

class ReadinessConnect : public Readiness {};

TEST_F(ReadinessConnect, withoutANameFailsBeforeTheNetwork) {
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Error,
                                     L"No remote hostname has been supplied. Server authentication "
                                     L"will be impossible. Aborting connection attempt"}}));
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

TEST_F(ReadinessConnect, authenticatesTheResolvedName) {
    stage.resolve("peer");
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"peer"}));
    EXPECT_EQ(stage.strategy->socket, connection);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_FALSE(stage.strategy->record->isServer);
    EXPECT_EQ(stage.strategy->record->socket, connection);
}

TEST_F(ReadinessConnect, authenticatesLocalhostAfterANullNode) {
    stage.resolve(nullptr);
    stage.strategy->connect(connection, nullptr, 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"localhost"}));
}

TEST_F(ReadinessConnect, argumentsReachTheLowerConnectBeforeTheHandshake) {
    stage.resolve("peer");
    sockaddr address{};
    stage.lower->onConnect = [&](SOCKET s, const sockaddr* name, int length) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(length, 16);
        EXPECT_TRUE(stage.targets.empty());
        return 0;
    };
    EXPECT_EQ(stage.strategy->connect(connection, &address, 16), 0);
}

TEST_F(ReadinessConnect, failedLowerConnectLeavesEverything) {
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

// --- accept

class ReadinessAccept : public Readiness {
protected:
    ReadinessAccept() {
        stage.lower->onAccept = [](SOCKET, sockaddr*, int*) { return connection; };
        stage.platform.GetNameInfoW = [](const sockaddr*, int, wchar_t* node, DWORD, wchar_t*,
                                         DWORD, int) {
            node[0] = L'p';
            node[1] = 0;
            return 0;
        };
        stage.arrive("client hello");
    }
};

TEST_F(ReadinessAccept, securesTheAcceptedSocketAsServer) {
    sockaddr address{};
    int length = 16;
    stage.lower->onAccept = [&](SOCKET s, sockaddr* a, int* l) {
        EXPECT_EQ(s, listener);
        EXPECT_EQ(a, &address);
        EXPECT_EQ(l, &length);
        return connection;
    };
    EXPECT_EQ(stage.strategy->accept(listener, &address, &length), connection);
    EXPECT_EQ(stage.strategy->socket, connection);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_TRUE(stage.strategy->record->isServer);
    EXPECT_EQ(stage.strategy->record->targetName, L"p");
}

TEST_F(ReadinessAccept, withoutAnAddressThePeersNameIsEmpty) {
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), connection);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
    EXPECT_EQ(stage.platformCalls("GetNameInfoW"), 0);
}

TEST_F(ReadinessAccept, failedNameLookUpGoesOnWithoutAName) {
    stage.platform.GetNameInfoW = [](auto...) { return -1; };
    sockaddr address{};
    int length = 16;
    EXPECT_EQ(stage.strategy->accept(listener, &address, &length), connection);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
}

TEST_F(ReadinessAccept, failedLowerAcceptIsRememberedAsNoSocket) {
    stage.strategy->accept(listener, nullptr, nullptr);
    SecureSocketRecord* const record = stage.strategy->record.get();
    stage.forget();
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_EQ(stage.strategy->record.get(), record);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
}

TEST_F(ReadinessAccept, whileServingAbandonsTheEarlierRecord) {
    stage.strategy->accept(listener, nullptr, nullptr);
    stage.arrive("client hello");
    stage.strategy->accept(listener, nullptr, nullptr);
    EXPECT_EQ(stage.deleted, (std::vector<ULONG_PTR>{1}));
}

// --- AcceptEx

class ReadinessAcceptEx : public Readiness {
protected:
    BOOL acceptEx(DWORD receiveDataLength) {
        return stage.strategy->AcceptEx(listener, connection, buffer, receiveDataLength, 32, 33,
                                        &received, &overlapped);
    }

    char buffer[128];
    DWORD received = 0;
    OVERLAPPED overlapped;
};

TEST_F(ReadinessAcceptEx, withoutAnInitialReadPassesThroughAndTheZeroToo) {
    stage.lower->onAcceptEx = [&](SOCKET l, SOCKET a, void* output, DWORD initial, DWORD local,
                                  DWORD remote, DWORD* bytes, OVERLAPPED* state) {
        EXPECT_EQ(l, listener);
        EXPECT_EQ(a, connection);
        EXPECT_EQ(output, buffer);
        EXPECT_EQ(initial, 0U);
        EXPECT_EQ(local, 32U);
        EXPECT_EQ(remote, 33U);
        EXPECT_EQ(bytes, &received);
        EXPECT_EQ(state, &overlapped);
        EXPECT_EQ(stage.strategy->socket, connection);
        stage.platform.lastError = WSA_IO_PENDING;
        return FALSE;
    };
    EXPECT_EQ(acceptEx(0), FALSE);
    EXPECT_EQ(stage.platform.lastError, WSA_IO_PENDING);
    stage.lower->onAcceptEx = [](auto...) { return TRUE; };
    EXPECT_EQ(acceptEx(0), TRUE);
}

TEST_F(ReadinessAcceptEx, withAnInitialReadIsRefusedYetTheSocketIsRemembered) {
    EXPECT_EQ(acceptEx(1), FALSE);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{
                  {Severity::Error,
                   L"AcceptEx cannot be secured if it is asked to do the initial read"}}));
    stage.arrive("client hello");
    EXPECT_EQ(stage.strategy->completeAcceptEx(), 0);
    EXPECT_NE(stage.strategy->record, nullptr);
}

TEST_F(ReadinessAcceptEx, completionRunsTheServersHandshakeWithoutAName) {
    stage.lower->onAcceptEx = [](auto...) { return FALSE; };
    acceptEx(0);
    stage.arrive("client hello");
    EXPECT_EQ(stage.strategy->completeAcceptEx(), 0);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_TRUE(stage.strategy->record->isServer);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
    EXPECT_EQ(stage.strategy->record->socket, connection);
    EXPECT_EQ(stage.lowerCalls("completeAcceptEx"), 0);
}

TEST_F(ReadinessAcceptEx, completionOnAFreshStrategyFailsWithoutALine) {
    EXPECT_EQ(stage.strategy->completeAcceptEx(), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAECONNABORTED);
    EXPECT_TRUE(stage.log.lines.empty());
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
}

TEST_F(Readiness, wsaAcceptIsRefusedAndLeavesTheLastError) {
    stage.platform.lastError = untouched;
    EXPECT_EQ(stage.strategy->WSAAccept(listener, nullptr, nullptr, nullptr, 0), INVALID_SOCKET);
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_TRUE(stage.platform.calls.empty());
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(Readiness, wsaConnectIsRefusedAndLeavesTheLastError) {
    stage.platform.lastError = untouched;
    EXPECT_EQ(
        stage.strategy->WSAConnect(connection, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
        SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_TRUE(stage.platform.calls.empty());
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

// --- select

class ReadinessSelect : public testing::Test {
protected:
    ReadinessSelect() {
        stage.makeConnected();
        stage.lower->onSelect = [this](int nfds, fd_set* r, fd_set* w, fd_set* e,
                                       const timeval* t) {
            EXPECT_EQ(nfds, 5);
            EXPECT_EQ(t, &hour);
            seen = r == nullptr ? std::vector<SOCKET>{} : shown(*r);
            EXPECT_EQ(w, writable);
            EXPECT_EQ(e, exceptional);
            return lowerResult;
        };
        stage.platform.lastError = untouched;
    }
    int select(fd_set* readable) {
        return stage.strategy->select(5, readable, writable, exceptional, &hour);
    }

    test::SecureStage<> stage;
    timeval hour{3600, 0};
    fd_set* writable = nullptr;
    fd_set* exceptional = nullptr;
    std::vector<SOCKET> seen; // the read set that the lower select saw
    int lowerResult = 0;
};

TEST_F(ReadinessSelect, withoutAReadSetPassesThroughInSilence) {
    stage.holdPlain("data");
    fd_set set = setOf({9});
    writable = &set;
    lowerResult = 1;
    EXPECT_EQ(select(nullptr), 1);
    EXPECT_EQ(stage.lowerCalls("select"), 1);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(ReadinessSelect, withoutTheStrategysSocketPassesThroughAfterAWarning) {
    stage.holdPlain("data");
    fd_set set = setOf({9});
    lowerResult = 1;
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9}));
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Warning,
                                     L"::select() is not being called for the socket [7] "
                                     L"associated with this security context"}}));
}

TEST_F(ReadinessSelect, socketIsToldAsAnUnsignedNumber) {
    stage.strategy->socket = INVALID_SOCKET;
    fd_set set = setOf({9});
    select(&set);
    ASSERT_EQ(stage.log.lines.size(), 1U);
    EXPECT_EQ(stage.log.lines[0].text,
              L"::select() is not being called for the socket [18446744073709551615] associated "
              L"with this security context");
}

TEST_F(ReadinessSelect, plaintextInHandIsReadyAtOnce) {
    stage.holdPlain("data");
    fd_set set = setOf({connection});
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(stage.lowerCalls("select"), 0);
    EXPECT_EQ(stage.platform.lastError, 0);
    EXPECT_EQ(shown(set), (std::vector<SOCKET>{connection}));
}

TEST_F(ReadinessSelect, recordInHandIsDecryptedToFindOut) {
    stage.hold(stage.cipher.seal("data"));
    fd_set set = setOf({connection});
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(stage.heldPlain(), "data");
    EXPECT_EQ(stage.lowerCalls("select"), 0);
}

TEST_F(ReadinessSelect, plaintextIsntAddedToWhileSomeIsHeld) {
    stage.holdPlain("data");
    stage.hold(stage.cipher.seal("more"));
    fd_set set = setOf({connection});
    select(&set);
    EXPECT_EQ(stage.cipher.decryptCalls, 0);
}

TEST_F(ReadinessSelect, otherSocketIsAskedForAndNotReady) {
    stage.holdPlain("data");
    fd_set set = setOf({connection, 9});
    stage.lower->onSelect = [&](int, fd_set* r, fd_set*, fd_set*, const timeval* t) {
        seen = shown(*r);
        EXPECT_EQ(t, &hour) << "the caller's time-out, unchanged";
        r->fd_count = 0;
        return 0;
    };
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9}));
    EXPECT_EQ(stage.platform.lastError, 0);
    EXPECT_EQ(set.fd_count, 0U) << "counted, not shown";
}

TEST_F(ReadinessSelect, otherSocketIsAskedForAndReady) {
    stage.holdPlain("data");
    fd_set set = setOf({9, connection, 11});
    lowerResult = 2;
    EXPECT_EQ(select(&set), 3);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9, 11}));
    EXPECT_EQ(shown(set), (std::vector<SOCKET>{9, 11}));
    EXPECT_EQ(stage.platform.lastError, untouched);
}

TEST_F(ReadinessSelect, writeSetMakesTheLowerSelectSeeAnEmptyReadSet) {
    stage.holdPlain("data");
    fd_set set = setOf({connection});
    fd_set writing = setOf({connection});
    writable = &writing;
    lowerResult = 1;
    EXPECT_EQ(select(&set), 2);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(stage.lowerCalls("select"), 1);
}

TEST_F(ReadinessSelect, exceptionSetGoesToTheLowerSelectToo) {
    stage.holdPlain("data");
    fd_set set = setOf({connection});
    fd_set excepting = setOf({connection});
    exceptional = &excepting;
    EXPECT_EQ(select(&set), 1);
    EXPECT_EQ(stage.lowerCalls("select"), 1);
}

TEST_F(ReadinessSelect, failedLowerSelectIsTheResultEvenWithPlaintext) {
    stage.holdPlain("data");
    fd_set set = setOf({connection, 9});
    lowerResult = SOCKET_ERROR;
    EXPECT_EQ(select(&set), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_EQ(shown(set), (std::vector<SOCKET>{9}));
}

TEST_F(ReadinessSelect, halfRecordLeavesTheDecisionToTheLowerSelect) {
    stage.hold(stage.cipher.seal("data").substr(0, 9));
    fd_set set = setOf({connection});
    lowerResult = 0;
    EXPECT_EQ(select(&set), 0);
    EXPECT_EQ(select(&set), 0);
    EXPECT_EQ(stage.cipher.decryptCalls, 1) << "nothing is tried again without new bytes";
    EXPECT_EQ(seen, (std::vector<SOCKET>{connection}));
    lowerResult = 1;
    EXPECT_EQ(select(&set), 1);
}

TEST_F(ReadinessSelect, nothingHeldPassesThroughWithTheSetsAsTheyWere) {
    fd_set set = setOf({9, connection});
    lowerResult = 2;
    EXPECT_EQ(select(&set), 2);
    EXPECT_EQ(seen, (std::vector<SOCKET>{9, connection}));
    EXPECT_EQ(stage.platform.lastError, untouched);
}

TEST_F(ReadinessSelect, spoiledCiphertextFailsWithoutACodeOrABreak) {
    for (const auto kind : {ToyCipher::Kind::Closure, ToyCipher::Kind::Renegotiation,
                            ToyCipher::Kind::Garbage, ToyCipher::Kind::Altered}) {
        stage.hold(stage.cipher.seal("", kind));
        fd_set set = setOf({connection});
        EXPECT_EQ(select(&set), SOCKET_ERROR);
        EXPECT_EQ(stage.platform.lastError, untouched);
        EXPECT_EQ(stage.platformCalls("DebugBreak"), 0);
        EXPECT_EQ(stage.lowerCalls("select"), 0);
    }
}

TEST_F(ReadinessSelect, exceptionsAreLoggedUnderTheirPrefixes) {
    for (const auto kind :
         {ToyCipher::Kind::Failing, ToyCipher::Kind::Exhausting, ToyCipher::Kind::Odd}) {
        stage.hold(stage.cipher.seal("", kind));
        fd_set set = setOf({connection});
        EXPECT_EQ(select(&set), SOCKET_ERROR);
    }
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error, L"Can't call select: toy"},
            {Severity::Error, L"A memory allocation failed. std::bad_alloc"},
            {Severity::Error, L"An unexpected C++ standard library exception occurred: odd"}}));
    EXPECT_EQ(stage.platform.lastError, untouched);
    EXPECT_EQ(stage.strategy->socket, connection);
}

} // namespace
} // namespace VexaSsl
