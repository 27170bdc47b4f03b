#include "strategies/SometimesSecureSocketStrategy.h"

#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace VexaSsl {
namespace {

using test::LogLine;
using test::ToyCipher;

class OpenSometimesStrategy : public SometimesSecureSocketStrategy {
public:
    using SometimesSecureSocketStrategy::pendingReceives;
    using SometimesSecureSocketStrategy::record;
    using SometimesSecureSocketStrategy::remoteHostName;
    using SometimesSecureSocketStrategy::socket;
    using SometimesSecureSocketStrategy::SometimesSecureSocketStrategy;
};

using Stage = test::SecureStage<OpenSometimesStrategy>;
constexpr SOCKET connection = Stage::connection;
constexpr SOCKET listener = Stage::listener;
constexpr int answer = 4711;

static_assert(noexcept(std::declval<SometimesSecureSocketStrategy&>().startOtls()));
static_assert(std::has_virtual_destructor_v<IOtlsProvider>);

const LogLine noName{Severity::Error, L"No remote hostname has been supplied. Server "
                                      L"authentication will be impossible. Aborting connection "
                                      L"attempt"};

class Otls : public testing::Test {
protected:
    Otls() { stage.make(); }

    // As a client, up to the moment before startOtls.
    void connectPlain() {
        stage.resolve("peer");
        stage.strategy->connect(connection, nullptr, 0);
        stage.forget();
    }
    void startEncrypted() {
        connectPlain();
        ASSERT_EQ(stage.strategy->startOtls(), 0);
        stage.forget();
    }
    // Whether the handshake to come is the server's, found out by running it.
    bool startsAsServer() {
        stage.resolve("peer");
        stage.arrive("client hello");
        EXPECT_EQ(stage.strategy->startOtls(), 0);
        return stage.platformCalls("AcceptSecurityContext") == 1;
    }
    void acceptOne() {
        stage.lower->onAccept = [](auto...) { return connection; };
        stage.strategy->accept(listener, nullptr, nullptr);
    }

    Stage stage;
};

// --- Construction

void expectRefused(const wchar_t* connectionName) {
    Stage stage;
    stage.config.setValue(L"ConnectionName", connectionName);
    try {
        stage.make();
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& refusal) {
        EXPECT_STREQ(refusal.what(), "invalid configuration");
    }
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, std::wstring(L"Internal connection name [") +
                                            connectionName + L"] does not support OTLS"}));
}

TEST(SometimesSecureSocketStrategy, defaultConnectionIsRefused) {
    expectRefused(L"Default");
}

TEST(SometimesSecureSocketStrategy, builtInNameIsRefusedInAnyLetterCase) {
    expectRefused(L"odbcthinclient");
    expectRefused(L"OdbcThinClient");
    expectRefused(L"ODBCTHINCLIENT");
}

TEST(SometimesSecureSocketStrategy, everyBuiltInNameIsRefused) {
    for (const wchar_t* name : {L"ClientToMox", L"QLT", L"VexaHttpToClient", L"WebSocketsToClient",
                                L"PresentationClient", L"VexaTcpIpConnection"}) {
        expectRefused(name);
    }
}

class MortalStrategy : public test::ScriptedStrategy {
public:
    explicit MortalStrategy(bool& flag) : gone(flag) {}
    ~MortalStrategy() override { gone = true; }

private:
    bool& gone;
};

TEST(SometimesSecureSocketStrategy, refusalDestroysTheWrappedStrategy) {
    Stage stage;
    stage.config.setValue(L"ConnectionName", L"Default");
    bool gone = false;
    EXPECT_THROW(SometimesSecureSocketStrategy(stage.log, stage.config,
                                               std::make_unique<MortalStrategy>(gone)),
                 std::out_of_range);
    EXPECT_TRUE(gone);
}

TEST_F(Otls, isReachedByACrossCast) {
    ISocketStrategy* const held = stage.strategy.get();
    IOtlsProvider* const provider = dynamic_cast<IOtlsProvider*>(held);
    ASSERT_NE(provider, nullptr);
    EXPECT_EQ(provider->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{noName}));
}

TEST(SometimesSecureSocketStrategy, canBeDestroyedThroughEitherBase) {
    Stage stage;
    bool gone = false;
    const IOtlsProvider* const provider = new SometimesSecureSocketStrategy(
        stage.log, stage.config, std::make_unique<MortalStrategy>(gone));
    delete provider;
    EXPECT_TRUE(gone);
}

// --- In the clear

TEST_F(Otls, sendInTheClearReachesTheStrategyBelowUnchanged) {
    const char data[] = "data";
    stage.lower->onSend = [&](SOCKET s, const char* buf, int len, int flags) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(buf, data);
        EXPECT_EQ(len, -3);
        EXPECT_EQ(flags, 5);
        return answer;
    };
    EXPECT_EQ(stage.strategy->send(connection, data, -3, 5), answer);
}

TEST_F(Otls, recvInTheClearReachesTheStrategyBelowUnchanged) {
    char data[4];
    stage.lower->onRecv = [&](SOCKET s, char* buf, int len, int flags) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(buf, data);
        EXPECT_EQ(len, 4);
        EXPECT_EQ(flags, msgPeek | msgWaitAll);
        return answer;
    };
    EXPECT_EQ(stage.strategy->recv(connection, data, 4, msgPeek | msgWaitAll), answer);
}

TEST_F(Otls, overlappedOperationsInTheClearReachTheStrategyBelow) {
    stage.lower->onWSASend = [](auto...) { return answer; };
    stage.lower->onWSARecv = [](auto...) { return answer + 1; };
    stage.lower->onCompleteWSARecv = [](int status, DWORD* count, void* context) {
        EXPECT_EQ(status, 5);
        EXPECT_EQ(*count, 6U);
        EXPECT_EQ(context, count);
        return answer + 2;
    };
    WSAOVERLAPPED state;
    DWORD count = 6;
    EXPECT_EQ(stage.strategy->WSASend(connection, nullptr, 0, &count, 0, &state, nullptr), answer);
    EXPECT_EQ(stage.strategy->WSARecv(connection, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              answer + 1);
    EXPECT_EQ(stage.strategy->completeWSARecv(5, &count, &count), answer + 2);
    EXPECT_TRUE(stage.strategy->pendingReceives.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(Otls, connectRunsNoHandshakeAndNeedsNoName) {
    EXPECT_EQ(stage.strategy->connect(connection, nullptr, 0), 0);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_EQ(stage.strategy->record, nullptr);
    EXPECT_TRUE(stage.platform.calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(Otls, connectMakesAClient) {
    acceptOne();
    stage.strategy->connect(connection, nullptr, 0);
    EXPECT_FALSE(startsAsServer());
}

TEST_F(Otls, failedConnectNotesNothing) {
    acceptOne();
    stage.lower->onConnect = [](auto...) { return SOCKET_ERROR; };
    EXPECT_EQ(stage.strategy->connect(99, nullptr, 0), SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(startsAsServer());
}

TEST_F(Otls, wsaConnectWorksAndMakesAClient) {
    acceptOne();
    stage.lower->onWSAConnect = [](auto...) { return 0; };
    EXPECT_EQ(stage.strategy->WSAConnect(9, nullptr, 0, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(stage.strategy->socket, SOCKET{9});
    stage.lower->onWSAConnect = [](auto...) { return SOCKET_ERROR; };
    EXPECT_EQ(stage.strategy->WSAConnect(10, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(stage.strategy->socket, SOCKET{9});
    EXPECT_FALSE(startsAsServer());
}

TEST_F(Otls, acceptMakesAServer) {
    acceptOne();
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(stage.platform.calls.empty()) << "no handshake";
    EXPECT_TRUE(startsAsServer());
}

TEST_F(Otls, failedAcceptOverwritesTheSocketAndKeepsTheRole) {
    acceptOne();
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    EXPECT_EQ(stage.strategy->accept(listener, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_TRUE(startsAsServer());
}

TEST_F(Otls, failedAcceptAfterAConnectLeavesAClient) {
    stage.strategy->connect(connection, nullptr, 0);
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    stage.strategy->accept(listener, nullptr, nullptr);
    EXPECT_FALSE(startsAsServer());
}

TEST_F(Otls, wsaAcceptWorksAndMakesAServer) {
    stage.lower->onWSAAccept = [](auto...) { return connection; };
    EXPECT_EQ(stage.strategy->WSAAccept(listener, nullptr, nullptr, nullptr, 0), connection);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(startsAsServer());
}

TEST_F(Otls, failedWsaAcceptOverwritesTheSocket) {
    stage.strategy->connect(connection, nullptr, 0);
    stage.lower->onWSAAccept = [](auto...) { return INVALID_SOCKET; };
    stage.strategy->WSAAccept(listener, nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
    EXPECT_FALSE(startsAsServer());
}

TEST_F(Otls, acceptExThatCompletesAtOnceMakesAServer) {
    stage.lower->onAcceptEx = [](SOCKET, SOCKET, void*, DWORD initial, DWORD, DWORD, DWORD*,
                                 OVERLAPPED*) {
        EXPECT_EQ(initial, 100U) << "an initial read isn't refused here";
        return TRUE;
    };
    EXPECT_EQ(stage.strategy->AcceptEx(listener, connection, nullptr, 100, 0, 0, nullptr, nullptr),
              TRUE);
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_TRUE(startsAsServer());
}

TEST_F(Otls, pendingAcceptExNotesNothingNorDoesItsCompletion) {
    stage.strategy->connect(9, nullptr, 0);
    stage.lower->onAcceptEx = [](auto...) { return FALSE; };
    stage.lower->onCompleteAcceptEx = [] { return answer; };
    EXPECT_EQ(stage.strategy->AcceptEx(listener, connection, nullptr, 0, 0, 0, nullptr, nullptr),
              FALSE);
    EXPECT_EQ(stage.strategy->completeAcceptEx(), answer);
    EXPECT_EQ(stage.strategy->socket, SOCKET{9});
    EXPECT_FALSE(startsAsServer());
}

TEST_F(Otls, acceptExResultOtherThanTrueNotesNothing) {
    stage.lower->onAcceptEx = [](auto...) { return 2; };
    stage.strategy->AcceptEx(listener, connection, nullptr, 0, 0, 0, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->socket, INVALID_SOCKET);
}

TEST_F(Otls, completeAcceptExRunsNoHandshakeInAnyState) {
    stage.lower->onCompleteAcceptEx = [] { return answer; };
    EXPECT_EQ(stage.strategy->completeAcceptEx(), answer);
    startEncrypted();
    EXPECT_EQ(stage.strategy->completeAcceptEx(), answer);
    EXPECT_TRUE(stage.platform.calls.empty());
}

TEST_F(Otls, selectWithoutAReadSetPassesThroughInTheClear) {
    connectPlain();
    stage.lower->onSelect = [](auto...) { return answer; };
    EXPECT_EQ(stage.strategy->select(0, nullptr, nullptr, nullptr, nullptr), answer);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(Otls, selectForOtherSocketsWarnsAndPassesThroughInTheClear) {
    connectPlain();
    stage.lower->onSelect = [](auto...) { return answer; };
    fd_set set{};
    set.fd_count = 1;
    set.fd_array[0] = 9;
    EXPECT_EQ(stage.strategy->select(0, &set, nullptr, nullptr, nullptr), answer);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Warning,
                                     L"::select() is not being called for the socket [7] "
                                     L"associated with this security context"}}));
}

// --- The switch

TEST_F(Otls, startWithoutANameFailsAndCanBeRepeatedAfterALookUp) {
    stage.strategy->connect(connection, nullptr, 0);
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{noName}));
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_EQ(stage.send("clear"), 5);
    EXPECT_EQ(stage.written, "clear");
    stage.resolve("peer");
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"peer"}));
}

TEST_F(Otls, serverNeedsANameToo) {
    acceptOne();
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{noName}));
}

TEST_F(Otls, nullNodeThatResolvedIsNameEnough) {
    stage.resolve(nullptr);
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"localhost"}));
}

TEST_F(Otls, wideLookUpIsRememberedToo) {
    stage.strategy->GetAddrInfoW(L"wide", nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"wide"}));
}

TEST_F(Otls, afterTheStartDataIsEncrypted) {
    startEncrypted();
    EXPECT_EQ(stage.send("data"), 4);
    EXPECT_EQ(stage.cipher.open(stage.written), "data");
    stage.arriveSealed("answer");
    EXPECT_EQ(stage.receive(6), "answer");
}

TEST_F(Otls, afterTheStartOverlappedOperationsAreTheSecureOnes) {
    startEncrypted();
    std::string data = "data";
    WSABUF buffer{4, data.data()};
    DWORD count = 0;
    EXPECT_EQ(stage.strategy->WSASend(connection, &buffer, 1, &count, 0, nullptr, nullptr), 0);
    EXPECT_EQ(stage.written, stage.cipher.seal("data"));
    const std::string wire = stage.cipher.seal("got!");
    stage.lower->onWSARecv = [&](SOCKET, WSABUF* buffers, DWORD, DWORD*, DWORD*, WSAOVERLAPPED*,
                                 LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
        std::copy(wire.begin(), wire.end(), buffers[0].buf);
        return 0;
    };
    WSAOVERLAPPED state;
    DWORD flags = 0;
    EXPECT_EQ(stage.strategy->WSARecv(connection, &buffer, 1, &count, &flags, &state, nullptr), 0);
    count = static_cast<DWORD>(wire.size());
    EXPECT_EQ(stage.strategy->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(data, "got!");
}

TEST_F(Otls, secondStartGivesZeroAndTouchesNothing) {
    startEncrypted();
    SecureSocketRecord* const record = stage.strategy->record.get();
    stage.strategy->remoteHostName.clear();
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.strategy->record.get(), record);
    EXPECT_TRUE(stage.platform.calls.empty());
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(Otls, startAfterAFailedConnectFailsOnNoSocket) {
    stage.resolve("peer");
    stage.lower->onConnect = [](auto...) { return SOCKET_ERROR; };
    stage.strategy->connect(connection, nullptr, 0);
    stage.platform.InitializeSecurityContextW = [](auto...) { return SEC_I_CONTINUE_NEEDED; };
    stage.lower->onRecv = [](SOCKET s, char*, int, int) {
        EXPECT_EQ(s, INVALID_SOCKET);
        return SOCKET_ERROR;
    };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, L"Can't establish a security context. can't recv"}));
}

TEST_F(Otls, failedStartLeavesTheSocketOpenAndTheTrafficClear) {
    connectPlain();
    stage.platform.lastError = answer;
    stage.platform.InitializeSecurityContextW = [](auto...) { return SEC_E_INVALID_TOKEN; };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, L"Can't establish a security context. "
                                        L"InitializeSecurityContext failed"}));
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_EQ(stage.platform.lastError, answer);
    EXPECT_EQ(stage.send("clear"), 5);
    EXPECT_EQ(stage.written, "clear");
}

TEST_F(Otls, exhaustedMemoryInTheStartIsLogged) {
    connectPlain();
    stage.platform.AcquireCredentialsHandleW = [](auto...) -> SECURITY_STATUS {
        throw std::bad_alloc();
    };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, L"A memory allocation failed. std::bad_alloc"}));
}

TEST(SometimesSecureSocketStrategy, badSecurityOptionShowsAtTheStart) {
    Stage stage;
    stage.config.setValue(L"RequireClientAuthentication", L"Yes");
    stage.make();
    stage.resolve("peer");
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, L"An unexpected C++ standard library exception occurred: "
                                        L"invalid configuration"}));
}

TEST_F(Otls, connectWhileEncryptedKeepsTheRecordAndTheEncryption) {
    startEncrypted();
    SecureSocketRecord* const record = stage.strategy->record.get();
    EXPECT_EQ(stage.strategy->connect(9, nullptr, 0), 0);
    EXPECT_EQ(stage.strategy->socket, SOCKET{9});
    EXPECT_EQ(stage.strategy->record.get(), record);
    stage.send("data");
    EXPECT_EQ(stage.written, stage.cipher.seal("data"));
}

TEST_F(Otls, stopDropsTheRecordWithoutAWordAndGoesBackToClear) {
    startEncrypted();
    EXPECT_EQ(stage.strategy->stopOtls(), 0);
    EXPECT_EQ(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.deleted.size(), 1U);
    EXPECT_TRUE(stage.lower->calls.empty());
    stage.send("clear");
    EXPECT_EQ(stage.written, "clear");
    EXPECT_EQ(stage.strategy->startOtls(), 0) << "and can start again";
}

TEST_F(Otls, stopInTheClearDoesNothing) {
    EXPECT_EQ(stage.strategy->stopOtls(), 0);
    EXPECT_TRUE(stage.platform.calls.empty());
}

} // namespace
} // namespace VexaSsl
