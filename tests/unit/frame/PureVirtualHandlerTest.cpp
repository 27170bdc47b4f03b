// Calls each pure virtual function of the interfaces on an object under construction.
#include "VexaSsl/KelException.h"

#include "config/ITwoLevelConfig.h"
#include "fakes/ScriptedPlatform.h"

#include "VexaSsl/IConfig.h"
#include "VexaSsl/IConnectionInfo.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/IOtlsProvider.h"
#include "VexaSsl/ISocketStrategy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;

// Calls an operation while the object is still of the interface's type.
template <class Interface>
class UnderConstruction : public Interface {
protected:
    using Call = std::function<void(Interface&)>;

    explicit UnderConstruction(const Call& call) { call(*this); }
};

class Config : public UnderConstruction<IConfig> {
public:
    explicit Config(const Call& call) : UnderConstruction(call) {}
    std::wstring getValue(const std::wstring&) const override { return L"built"; }
    void setValue(const std::wstring&, const std::wstring&) override {}
};

class TwoLevelConfig : public UnderConstruction<ITwoLevelConfig> {
public:
    explicit TwoLevelConfig(const Call& call) : UnderConstruction(call) {}
    std::wstring getValue(const std::wstring&, const std::wstring&) const override {
        return L"built";
    }
};

class Provider : public UnderConstruction<IOtlsProvider> {
public:
    explicit Provider(const Call& call) : UnderConstruction(call) {}
    int startOtls() override { return 0; }
};

class Queries : public UnderConstruction<IConnectionInfo> {
public:
    explicit Queries(const Call& call) : UnderConstruction(call) {}
    ConnectionInfo connectionInfo() const override { return {}; }
    ConnectionFailure lastFailure() const override { return {}; }
    int heldBytes() override { return 0; }
};

class Log : public UnderConstruction<ILog> {
public:
    explicit Log(const Call& call) : UnderConstruction(call) {}
    void log(Severity, const std::wstring&) override {}
    void setMinimumSeverity(Severity) override {}
};

class Strategy : public UnderConstruction<ISocketStrategy> {
public:
    explicit Strategy(const Call& call) : UnderConstruction(call) {}
    int send(SOCKET, const char*, int, int) override { return 0; }
    int recv(SOCKET, char*, int, int) override { return 0; }
    int connect(SOCKET, const sockaddr*, int) override { return 0; }
    SOCKET accept(SOCKET, sockaddr*, int*) override { return 0; }
    int select(int, fd_set*, fd_set*, fd_set*, const timeval*) override { return 0; }
    int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) override { return 0; }
    int GetAddrInfoW(const wchar_t*, const wchar_t*, const ADDRINFOW*, ADDRINFOW**) override {
        return 0;
    }
    BOOL AcceptEx(SOCKET, SOCKET, void*, DWORD, DWORD, DWORD, DWORD*, OVERLAPPED*) override {
        return TRUE;
    }
    int completeAcceptEx() override { return 0; }
    SOCKET WSAAccept(SOCKET, sockaddr*, int*, LPCONDITIONPROC, DWORD_PTR) override { return 0; }
    int WSASend(SOCKET, WSABUF*, DWORD, DWORD*, DWORD, WSAOVERLAPPED*,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE) override {
        return 0;
    }
    int WSARecv(SOCKET, WSABUF*, DWORD, DWORD*, DWORD*, WSAOVERLAPPED*,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE) override {
        return 0;
    }
    int completeWSARecv(int, DWORD*, void*) override { return 0; }
    int WSAConnect(SOCKET, const sockaddr*, int, WSABUF*, WSABUF*, QOS*, QOS*) override {
        return 0;
    }
};

std::vector<int> dumps;

int dumpProcess(int argument) {
    dumps.push_back(argument);
    return 0;
}

class PureVirtualHandler : public testing::Test {
protected:
    PureVirtualHandler() {
        dumps.clear();
        platform.LoadLibraryA = [](const char*) { return HMODULE{nullptr}; };
    }

    // Builds a Class that makes the call while it is half built.
    template <class Class, class Call>
    void expectThrown(Call call) {
        try {
            const Class whole(call);
            FAIL() << "the call returned";
        } catch (const KelException& exception) {
            EXPECT_EQ(exception.first, 1);
            EXPECT_EQ(exception.second, 7);
        }
    }

    void callSlot() {
        expectThrown<Log>([](ILog& log) { log.setMinimumSeverity(Severity::Info); });
    }

    ScriptedPlatform platform;
};

TEST_F(PureVirtualHandler, slotOfILogThrows) {
    expectThrown<Log>([](ILog& log) { log.log(Severity::Info, L"text"); });
    expectThrown<Log>([](ILog& log) { log.setMinimumSeverity(Severity::Info); });
}

TEST_F(PureVirtualHandler, slotOfIConfigThrows) {
    expectThrown<Config>([](IConfig& config) { config.getValue(L"key"); });
    expectThrown<Config>([](IConfig& config) { config.setValue(L"key", L"value"); });
}

TEST_F(PureVirtualHandler, slotOfITwoLevelConfigThrows) {
    expectThrown<TwoLevelConfig>(
        [](ITwoLevelConfig& source) { source.getValue(L"section", L"key"); });
}

TEST_F(PureVirtualHandler, slotOfISocketStrategyThrows) {
    expectThrown<Strategy>([](ISocketStrategy& strategy) { strategy.send(1, nullptr, 0, 0); });
    expectThrown<Strategy>([](ISocketStrategy& strategy) { strategy.completeAcceptEx(); });
    expectThrown<Strategy>([](ISocketStrategy& strategy) {
        strategy.WSAConnect(1, nullptr, 0, nullptr, nullptr, nullptr, nullptr);
    });
}

TEST_F(PureVirtualHandler, slotOfIOtlsProviderThrows) {
    expectThrown<Provider>([](IOtlsProvider& provider) { provider.startOtls(); });
}

TEST_F(PureVirtualHandler, slotOfIConnectionInfoThrows) {
    expectThrown<Queries>([](IConnectionInfo& info) { info.connectionInfo(); });
    expectThrown<Queries>([](IConnectionInfo& info) { info.lastFailure(); });
    expectThrown<Queries>([](IConnectionInfo& info) { info.heldBytes(); });
}

TEST_F(PureVirtualHandler, looksForTheDumpLibraryByItsName) {
    std::string name;
    platform.LoadLibraryA = [&](const char* asked) {
        name = asked;
        return HMODULE{nullptr};
    };
    callSlot();
    EXPECT_EQ(name, "kelmo");
    EXPECT_THAT(platform.calls, ElementsAre("LoadLibraryA"));
}

TEST_F(PureVirtualHandler, callsTheDumpEntryOnceWith2AndStillThrows) {
    platform.LoadLibraryA = [this](const char*) { return reinterpret_cast<HMODULE>(&platform); };
    platform.GetProcAddress = [this](HMODULE module, const char* name) {
        EXPECT_EQ(module, reinterpret_cast<HMODULE>(&platform));
        EXPECT_STREQ(name, "kelProcessDump");
        return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&dumpProcess));
    };
    callSlot();
    EXPECT_THAT(dumps, ElementsAre(2));
    EXPECT_THAT(platform.calls, ElementsAre("LoadLibraryA", "GetProcAddress"));
}

TEST_F(PureVirtualHandler, dumpLibraryWithoutTheEntryIsIgnored) {
    platform.LoadLibraryA = [this](const char*) { return reinterpret_cast<HMODULE>(&platform); };
    platform.GetProcAddress = [](HMODULE, const char*) { return FARPROC{nullptr}; };
    callSlot();
    EXPECT_THAT(dumps, ElementsAre());
    EXPECT_THAT(platform.calls, ElementsAre("LoadLibraryA", "GetProcAddress"));
}

TEST_F(PureVirtualHandler, theExceptionIsNoStandardException) {
    EXPECT_FALSE((std::is_base_of_v<std::exception, KelException>));
    EXPECT_FALSE(std::is_polymorphic_v<KelException>);
    EXPECT_EQ(sizeof(KelException), 8U);
    bool isCaughtAsItself = false;
    try {
        const Config config([](IConfig& halfBuilt) { halfBuilt.getValue(L"key"); });
    } catch (const std::exception&) {
    } catch (const KelException&) {
        isCaughtAsItself = true;
    }
    EXPECT_TRUE(isCaughtAsItself);
}

} // namespace
} // namespace VexaSsl::test
