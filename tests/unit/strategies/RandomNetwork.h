// The system and the security package of a random test: every result that their contracts allow.
#pragma once

#include "fakes/GoodHandshake.h"
#include "fakes/SecureConnection.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

namespace VexaSsl::test {

// The same numbers on every system, unlike the distributions of the standard library.
class Choices {
public:
    explicit Choices(std::uint32_t seed) : engine(seed) {}

    std::uint32_t below(std::uint32_t limit) {
        return static_cast<std::uint32_t>(engine() % limit);
    }
    bool once(std::uint32_t in) { return below(in) == 0; }
    template <typename Value>
    Value oneOf(std::initializer_list<Value> values) {
        return values.begin()[below(static_cast<std::uint32_t>(values.size()))];
    }

private:
    std::mt19937 engine;
};

// Every call succeeds until misbehaves is set.
class RandomNetwork {
public:
    static constexpr SOCKET connection = 7;

    explicit RandomNetwork(Choices& choices) : choices(choices) {
        good.sizes = {5, 8, 100, 4, 16};
        installSecurityPackage(good.platform);
        scriptSockets();
        scriptConnecting();
        scriptPackage();
    }

    GoodHandshake good;
    bool misbehaves = false;
    bool refusesHandshakes = false;
    SECURITY_STATUS decryption = SEC_E_OK; // of the next records

private:
    bool fails(std::uint32_t once) {
        if (!misbehaves || !choices.once(once)) {
            return false;
        }
        good.platform.lastError = choices.oneOf({WSAEWOULDBLOCK, WSAECONNRESET, WSAENOTSOCK});
        return true;
    }

    // Part of the bytes at most; a peer that has closed gives none.
    int part(int length) {
        return misbehaves ? static_cast<int>(choices.below(static_cast<std::uint32_t>(length) + 1))
                          : length;
    }

    void scriptSockets() {
        ScriptedPlatform& platform = good.platform;
        platform.send = [this](SOCKET, const char*, int len, int) {
            return len < 0 || fails(10) ? SOCKET_ERROR : part(len);
        };
        platform.recv = [this](SOCKET, char* buf, int len, int) {
            const int count = len < 0 || fails(4) ? SOCKET_ERROR : part(len);
            std::fill_n(buf, std::max(count, 0), 'r');
            return count;
        };
        platform.select = [this](int, fd_set*, fd_set*, fd_set*, const timeval*) {
            return fails(10) ? SOCKET_ERROR : static_cast<int>(choices.below(3));
        };
        platform.__WSAFDIsSet = [](SOCKET s, fd_set* set) {
            return std::count(set->fd_array, set->fd_array + set->fd_count, s) != 0 ? 1 : 0;
        };
        platform.WSASend = [this](auto...) { return fails(3) ? SOCKET_ERROR : 0; };
        platform.WSARecv = [this](SOCKET, WSABUF* buffers, DWORD count, DWORD* received, auto...) {
            for (const WSABUF& buffer : std::vector<WSABUF>(buffers, buffers + count)) {
                std::fill_n(buffer.buf, buffer.len, 'w');
            }
            *received = choices.below(5000);
            return fails(3) ? SOCKET_ERROR : 0;
        };
        platform.shutdown = [this](auto...) { return fails(2) ? SOCKET_ERROR : 0; };
    }

    void scriptConnecting() {
        ScriptedPlatform& platform = good.platform;
        platform.connect = [this](auto...) { return fails(3) ? SOCKET_ERROR : 0; };
        platform.WSAConnect = [this](auto...) { return fails(3) ? SOCKET_ERROR : 0; };
        platform.accept = [this](auto...) { return fails(3) ? INVALID_SOCKET : connection; };
        platform.WSAAccept = [this](auto...) { return fails(3) ? INVALID_SOCKET : connection; };
        platform.AcceptEx = [this](auto...) { return fails(3) ? FALSE : TRUE; };
        platform.getaddrinfo = [this](auto...) { return fails(3) ? WSAHOST_NOT_FOUND : 0; };
        platform.GetAddrInfoW = [this](auto...) { return fails(3) ? WSAHOST_NOT_FOUND : 0; };
        platform.GetNameInfoW = [this](const sockaddr*, int, wchar_t* node, DWORD, auto...) {
            *node = L'\0';
            return fails(3) ? WSAHOST_NOT_FOUND : 0;
        };
    }

    void scriptPackage() {
        ScriptedPlatform& platform = good.platform;
        const auto unlessRefused = [this](auto call) {
            return [this, call](auto... arguments) {
                return refusesHandshakes || fails(3) ? SEC_E_INTERNAL_ERROR : call(arguments...);
            };
        };
        platform.InitializeSecurityContextW = unlessRefused(platform.InitializeSecurityContextW);
        platform.AcceptSecurityContext = unlessRefused(platform.AcceptSecurityContext);
        platform.EncryptMessage = [this](CtxtHandle*, ULONG, SecBufferDesc* message, ULONG) {
            return encrypt(message->pBuffers);
        };
        platform.DecryptMessage = [this](CtxtHandle*, SecBufferDesc* message, ULONG, ULONG*) {
            return decrypt(message->pBuffers);
        };
        platform.DebugBreak = [] {};
    }

    SECURITY_STATUS encrypt(SecBuffer* buffers) {
        if (fails(10)) {
            return SEC_E_INTERNAL_ERROR;
        }
        for (int i = 0; i < 3; ++i) {
            std::fill_n(static_cast<char*>(buffers[i].pvBuffer), buffers[i].cbBuffer, 'e');
        }
        buffers[2].cbBuffer -= choices.below(buffers[2].cbBuffer + 1);
        return SEC_E_OK;
    }

    SECURITY_STATUS decrypt(SecBuffer* buffers) {
        const SECURITY_STATUS status =
            misbehaves
                ? choices.oneOf({SEC_E_OK, SEC_E_OK, SEC_E_OK, SEC_E_INCOMPLETE_MESSAGE,
                                 SEC_E_MESSAGE_ALTERED, SEC_I_CONTEXT_EXPIRED, SEC_I_RENEGOTIATE})
                : decryption;
        const ULONG size = buffers[0].cbBuffer;
        if (status == SEC_E_INCOMPLETE_MESSAGE) {
            buffers[1] = {choices.below(100), SECBUFFER_MISSING, nullptr};
        } else if (status == SEC_E_OK && size != 0) {
            split(buffers, size);
        }
        return status;
    }

    // A record of any size up to that of the input, with any amount of data in it.
    void split(SecBuffer* buffers, ULONG size) {
        char* const bytes = static_cast<char*>(buffers[0].pvBuffer);
        const ULONG record = 1 + choices.below(size);
        const ULONG header = choices.below(record + 1);
        std::fill_n(bytes, record, 'd');
        buffers[0] = {header, SECBUFFER_STREAM_HEADER, bytes};
        buffers[1] = {record - header, SECBUFFER_DATA, bytes + header};
        buffers[2] = {0, SECBUFFER_STREAM_TRAILER, bytes + record};
        if (size > record) {
            buffers[3] = {size - record, SECBUFFER_EXTRA, nullptr};
        }
    }

    Choices& choices;
};

} // namespace VexaSsl::test
