// A host of a random test: it calls any operation at any time, with any arguments.
#pragma once

#include "VexaSsl/VexaSsl.h"
#include "unit/strategies/RandomNetwork.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::test {

class RandomHost {
public:
    static constexpr SOCKET connection = RandomNetwork::connection;
    static constexpr SOCKET listener = 3;

    RandomHost(Choices& choices, RandomNetwork& network, const std::wstring& useEncryption,
               bool logLayers)
        : choices(choices), network(network), encrypts(useEncryption == L"True") {
        network.good.config.setValue(L"UseEncryption", useEncryption);
        network.good.config.setValue(L"InjectLogLayers", logLayers ? L"True" : L"False");
        stack = instantiateSocketStrategy(network.good.log, network.good.config);
    }

    bool isSecured() const { return secured; }

    void resolve() { stack->getaddrinfo("peer", nullptr, nullptr, nullptr); }
    void connect() { note(stack->connect(connection, nullptr, 0) == 0); }
    void accept() {
        sockaddr address{};
        int length = sizeof address;
        note(stack->accept(listener, choices.once(2) ? nullptr : &address, &length) !=
             INVALID_SOCKET);
    }
    void acceptEx() {
        DWORD received = 0;
        stack->AcceptEx(listener, anySocket(), nullptr, choices.below(2), 0, 0, &received, &state);
    }
    void completeAcceptEx() { note(stack->completeAcceptEx() == 0); }
    void startOtls() {
        if (auto* otls = dynamic_cast<IOtlsProvider*>(stack.get())) {
            secured = otls->startOtls() == 0 || secured;
        }
    }

    void send() {
        const int length = anyLength();
        const std::vector<char> data(static_cast<std::size_t>(std::max(length, 0)), 's');
        const int sent = stack->send(anySocket(), data.data(), length, anyFlags());
        EXPECT_GE(sent, SOCKET_ERROR);
        EXPECT_LE(sent, std::max(length, 0));
        expectFailure(sent, !canTransfer() || (usesTls() && length < 0));
    }

    void receive() {
        const int length = anyLength();
        std::vector<char> data(static_cast<std::size_t>(std::max(length, 0)), '#');
        const int received = stack->recv(anySocket(), data.data(), length, anyFlags());
        EXPECT_GE(received, SOCKET_ERROR);
        EXPECT_LE(received, std::max(length, 0));
        expectFailure(received, !canTransfer() || (usesTls() && length < 0));
    }

    void select() {
        fd_set readable = anySet();
        fd_set writable = anySet();
        fd_set exceptional = anySet();
        const timeval timeout{};
        EXPECT_GE(stack->select(0, choices.once(4) ? nullptr : &readable,
                                choices.once(2) ? nullptr : &writable,
                                choices.once(2) ? nullptr : &exceptional, &timeout),
                  SOCKET_ERROR);
    }

    void getaddrinfo() {
        stack->getaddrinfo(choices.oneOf<const char*>({nullptr, "", "peer"}),
                           choices.oneOf<const char*>({nullptr, "https"}), nullptr, nullptr);
    }
    void getAddrInfoW() {
        stack->GetAddrInfoW(choices.oneOf<const wchar_t*>({nullptr, L"", L"peer"}),
                            choices.oneOf<const wchar_t*>({nullptr, L"https"}), nullptr, nullptr);
    }
    void wsaAccept() { stack->WSAAccept(listener, nullptr, nullptr, nullptr, 0); }
    void wsaConnect() {
        stack->WSAConnect(anySocket(), nullptr, 0, nullptr, nullptr, nullptr, nullptr);
    }

    void wsaSend() {
        Memory memory = anyBuffers();
        std::vector<WSABUF> buffers = described(memory);
        DWORD sent = 0;
        expectFailure(stack->WSASend(anySocket(), buffers.data(),
                                     static_cast<DWORD>(buffers.size()), &sent, 0,
                                     choices.once(4) ? &state : nullptr, nullptr),
                      !canTransfer());
    }

    void wsaReceive() { post(!choices.once(4)); }

    void completeWsaReceive() {
        DWORD count = choices.below(5000);
        const bool nothingPending = usesTls() && pending.empty();
        const int result = stack->completeWSARecv(0, &count, nullptr);
        expectFailure(result, !canTransfer() || nothingPending);
        if (usesTls()) {
            std::size_t capacity = 0;
            for (const std::vector<char>& buffer : pending.empty() ? Memory{} : pending.front()) {
                capacity += buffer.size();
            }
            EXPECT_LE(count, capacity);
        }
        if (canTransfer() && !nothingPending && usesTls()) {
            pending.pop_front();
        }
    }

    void post(bool overlapped) {
        Memory& memory = everything.emplace_back(anyBuffers());
        std::vector<WSABUF> buffers = described(memory);
        DWORD received = 0;
        DWORD flags = static_cast<DWORD>(anyFlags());
        expectFailure(stack->WSARecv(anySocket(), buffers.data(),
                                     static_cast<DWORD>(buffers.size()), &received, &flags,
                                     overlapped ? &state : nullptr, nullptr),
                      !canTransfer());
        if (usesTls() && canTransfer() && overlapped) {
            pending.push_back(memory);
        }
    }

    void callAnything() {
        using Operation = void (RandomHost::*)();
        constexpr Operation operations[] = {&RandomHost::send,
                                            &RandomHost::receive,
                                            &RandomHost::connect,
                                            &RandomHost::accept,
                                            &RandomHost::select,
                                            &RandomHost::getaddrinfo,
                                            &RandomHost::getAddrInfoW,
                                            &RandomHost::acceptEx,
                                            &RandomHost::completeAcceptEx,
                                            &RandomHost::wsaAccept,
                                            &RandomHost::wsaSend,
                                            &RandomHost::wsaReceive,
                                            &RandomHost::wsaConnect,
                                            &RandomHost::startOtls,
                                            &RandomHost::completeWsaReceive,
                                            &RandomHost::send,
                                            &RandomHost::receive,
                                            &RandomHost::select,
                                            &RandomHost::wsaReceive,
                                            &RandomHost::completeWsaReceive};
        (this->*operations[choices.below(std::size(operations))])();
        network.good.clear();
    }

private:
    using Memory = std::vector<std::vector<char>>;

    // Whether the strategy in the middle works on a secured connection, or refuses to.
    bool usesTls() const { return encrypts || secured; }
    bool canTransfer() const { return !encrypts || secured; }

    void note(bool connected) { secured = secured || (encrypts && connected); }

    void expectFailure(int result, bool mustFail) {
        if (mustFail) {
            EXPECT_EQ(result, SOCKET_ERROR);
        }
    }

    SOCKET anySocket() {
        return choices.oneOf<SOCKET>({connection, connection, 9, INVALID_SOCKET});
    }
    int anyLength() { return choices.oneOf({-5, -1, 0, 1, 7, 99, 100, 101, 450}); }
    int anyFlags() {
        return choices.oneOf({0, 0, 0, msgPeek, msgWaitAll, msgPeek | msgWaitAll, 1});
    }

    Memory anyBuffers() {
        Memory memory(choices.below(4));
        for (std::vector<char>& buffer : memory) {
            buffer.resize(choices.oneOf<std::size_t>({0, 1, 100, 400}), 'h');
        }
        return memory;
    }

    static std::vector<WSABUF> described(Memory& memory) {
        std::vector<WSABUF> buffers;
        for (std::vector<char>& buffer : memory) {
            buffers.push_back({static_cast<ULONG>(buffer.size()), buffer.data()});
        }
        return buffers;
    }

    fd_set anySet() {
        fd_set set{};
        for (std::uint32_t i = choices.below(4); i != 0; --i) {
            set.fd_array[set.fd_count++] = anySocket();
        }
        return set;
    }

    Choices& choices;
    RandomNetwork& network;
    const bool encrypts;  // from the first byte
    bool secured = false; // a handshake has succeeded
    WSAOVERLAPPED state{};
    std::deque<Memory> everything; // that was posted: the strategy writes into it
    std::deque<Memory> pending;    // copies, for their sizes
    std::unique_ptr<ISocketStrategy> stack;
};

} // namespace VexaSsl::test
