// Fixture for tests of the data path: a SecureSocketStrategy over a scripted strategy, with a
// handshake that succeeds and the toy cipher.
//
// arrive() queues what the peer sends, one piece for each read; written has what the strategy has
// written. A read without a piece would block forever: it fails the test unless the peer has
// closed.
#pragma once

#include "fakes/CollectingLog.h"
#include "fakes/GoodHandshake.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/ScriptedStrategy.h"
#include "fakes/ToyCipher.h"
#include "secure/SecureSocketStrategy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace VexaSsl::test {

// Makes the one-time check succeed; it runs in the first test of the process that makes a strategy.
void installSecurityPackage(ScriptedPlatform& platform);

// What connect and startOtls log when no host name has been resolved.
inline const LogLine noHostNameLine{Severity::Error,
                                    L"No remote hostname has been supplied. Server authentication "
                                    L"will be impossible. Aborting connection attempt"};

// Makes the protected fields public.
class OpenSecureSocketStrategy : public SecureSocketStrategy {
public:
    using SecureSocketStrategy::pendingReceives;
    using SecureSocketStrategy::record;
    using SecureSocketStrategy::remoteHostName;
    using SecureSocketStrategy::remoteServiceName;
    using SecureSocketStrategy::SecureSocketStrategy;
    using SecureSocketStrategy::socket;
};

template <typename Strategy = OpenSecureSocketStrategy>
class SecureStage {
public:
    static constexpr SOCKET connection = 7;
    static constexpr SOCKET listener = 3;

    SecureStage() {
        scriptContexts();
        cipher.install(platform);
        installSecurityPackage(platform);
        platform.shutdown = [](SOCKET, int) { return 0; };
        platform.DebugBreak = [] {};
        platform.__WSAFDIsSet = [](SOCKET s, fd_set* set) {
            const SOCKET* end = set->fd_array + set->fd_count;
            return std::find<const SOCKET*>(set->fd_array, end, s) != end ? 1 : 0;
        };
    }

    ~SecureStage();

    // Makes the strategy, unconnected, and clears lines and calls.
    void make() {
        auto below = std::make_unique<ScriptedStrategy>();
        lower = below.get();
        scriptNetwork();
        strategy = std::make_unique<Strategy>(log, config, std::move(below));
        forget();
    }

    // Makes the strategy and connects it as a client.
    void makeConnected() {
        make();
        resolve("peer");
        strategy->connect(connection, nullptr, 0);
        forget();
    }

    void resolve(const char* name) { strategy->getaddrinfo(name, nullptr, nullptr, nullptr); }

    void forget() {
        log.lines.clear();
        platform.calls.clear();
        lower->calls.clear();
        written.clear();
    }

    void arrive(std::string piece) { incoming.push_back(std::move(piece)); }
    // Queues a record of the peer in one piece.
    void arriveSealed(std::string_view plain, ToyCipher::Kind kind = ToyCipher::Kind::Data) {
        arrive(cipher.seal(plain, kind));
    }
    void peerCloses() { closed = true; }

    // Calls recv and returns the bytes; the result of recv is in result.
    std::string receive(int length, int flags = 0) {
        std::string buffer(static_cast<std::size_t>(length), '#');
        result = strategy->recv(connection, buffer.data(), length, flags);
        return buffer.substr(0, static_cast<std::size_t>(std::max(result, 0)));
    }

    int send(std::string_view data, int flags = 0) {
        return strategy->send(connection, data.data(), static_cast<int>(data.size()), flags);
    }

    // Gives the record ciphertext without a read.
    void hold(std::string_view cipherText) {
        strategy->record->appendCipher(cipherText.data(), static_cast<DWORD>(cipherText.size()));
    }
    void holdPlain(std::string_view plain) {
        const std::string allPlain = heldPlain() + std::string(plain);
        const std::string all = allPlain + heldCipher();
        ReceivedBytes bytes;
        bytes.append(all.data(), all.size());
        const std::span<char> taken = bytes.takeCipher();
        bytes.appendPlain(taken.data(), allPlain.size());
        bytes.putBack(taken.subspan(allPlain.size()));
        strategy->record->received = std::move(bytes);
    }
    std::string heldPlain() const { return text(strategy->record->plainBytes()); }
    std::string heldCipher() const { return text(strategy->record->cipherBytes()); }

    int lowerCalls(const char* name) const {
        return static_cast<int>(std::count(lower->calls.begin(), lower->calls.end(), name));
    }
    int platformCalls(const char* name) const {
        return static_cast<int>(std::count(platform.calls.begin(), platform.calls.end(), name));
    }

    GoodHandshake handshake;
    ScriptedPlatform& platform = handshake.platform;
    SslConfig& config = handshake.config;
    CallbackLog log;
    ToyCipher cipher;
    std::vector<std::wstring> targets; // the names that clients authenticated, in order
    ULONG_PTR established = 0;         // contexts made; it is the last one's first word
    std::vector<ULONG_PTR> deleted;    // the first words of the contexts deleted, in order
    std::unique_ptr<Strategy> strategy;
    ScriptedStrategy* lower = nullptr; // owned by strategy
    std::string written;
    int result = 0;

private:
    // Numbers the contexts of the handshake.
    void scriptContexts() {
        platform.InitializeSecurityContextW = [this, good = platform.InitializeSecurityContextW](
                                                  CredHandle* credential, CtxtHandle* context,
                                                  wchar_t* target, auto... rest) {
            targets.emplace_back(target);
            handshake.context.dwLower = ++established;
            return good(credential, context, target, rest...);
        };
        platform.AcceptSecurityContext =
            [this, good = platform.AcceptSecurityContext](auto... arguments) {
                handshake.context.dwLower = ++established;
                return good(arguments...);
            };
        platform.DeleteSecurityContext = [this](CtxtHandle* context) {
            deleted.push_back(context->dwLower);
            return SEC_E_OK;
        };
    }

    static std::string text(std::span<const char> bytes) { return {bytes.begin(), bytes.end()}; }

    void scriptNetwork() {
        lower->onGetaddrinfo = [](auto...) { return 0; };
        lower->onGetAddrInfoW = [](auto...) { return 0; };
        lower->onConnect = [](auto...) { return 0; };
        lower->onSend = [this](SOCKET, const char* buf, int len, int) {
            written.append(buf, static_cast<std::size_t>(len));
            return len;
        };
        lower->onRecv = [this](SOCKET, char* buf, int len, int) { return read(buf, len); };
        lower->onSelect = [this](int, fd_set*, fd_set*, fd_set*, const timeval*) {
            return incoming.empty() && !closed ? 0 : 1;
        };
    }

    int read(char* buf, int len) {
        if (incoming.empty()) {
            EXPECT_TRUE(closed) << "a read that would block";
            return closed ? 0 : SOCKET_ERROR;
        }
        std::string& piece = incoming.front();
        const std::size_t count = std::min(piece.size(), static_cast<std::size_t>(len));
        std::memcpy(buf, piece.data(), count);
        piece.erase(0, count);
        if (piece.empty()) {
            incoming.pop_front();
        }
        return static_cast<int>(count);
    }

    std::deque<std::string> incoming;
    bool closed = false;
};

template <typename Strategy>
SecureStage<Strategy>::~SecureStage() = default;

// Compiled once.
extern template class SecureStage<OpenSecureSocketStrategy>;

} // namespace VexaSsl::test
