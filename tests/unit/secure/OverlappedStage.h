// The stage of the overlapped operations: a connected strategy, the host's buffers, and the part of
// the system that fills what was posted.
#pragma once

#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::test {

inline constexpr int unrelatedError = 4711;

class OverlappedTransfer : public testing::Test {
protected:
    OverlappedTransfer() {
        stage.makeConnected();
        stage.platform.lastError = unrelatedError;
    }
    LogLine onlyLine() const {
        EXPECT_EQ(stage.log.lines.size(), 1U);
        return stage.log.lines.empty() ? LogLine{} : stage.log.lines.front();
    }

    SecureStage<> stage;
    WSAOVERLAPPED state{};
};

class OverlappedReceiver : public OverlappedTransfer {
protected:
    OverlappedReceiver() {
        stage.lower->onWSARecv = [this](SOCKET, WSABUF* buffers, DWORD number, DWORD*, DWORD*,
                                        WSAOVERLAPPED*, LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
            posted.assign(buffers, buffers + number);
            stage.platform.lastError = WSA_IO_PENDING;
            return SOCKET_ERROR;
        };
    }

    // Posts one receive for buffers of these sizes.
    int post(std::initializer_list<std::size_t> sizes) {
        std::vector<WSABUF> buffers = hostBuffers(sizes);
        return stage.strategy->WSARecv(SecureStage<>::connection, buffers.data(),
                                       static_cast<DWORD>(buffers.size()), &received, &flags,
                                       &state, nullptr);
    }
    std::vector<WSABUF> hostBuffers(std::initializer_list<std::size_t> sizes) {
        memory.clear();
        for (const std::size_t size : sizes) {
            memory.emplace_back(size, '#');
        }
        std::vector<WSABUF> buffers;
        for (std::string& piece : memory) {
            buffers.push_back({static_cast<ULONG>(piece.size()), piece.data()});
        }
        return buffers;
    }

    // What the system does when bytes come: it fills the posted buffers in order.
    void fill(std::string_view wire) {
        for (const WSABUF& buffer : posted) {
            const std::size_t part = std::min<std::size_t>(buffer.len, wire.size());
            std::memcpy(buffer.buf, wire.data(), part);
            wire.remove_prefix(part);
        }
        ASSERT_TRUE(wire.empty());
    }
    int complete(DWORD transferred) {
        count = transferred;
        return stage.strategy->completeWSARecv(unrelatedError, &count, this);
    }
    int fillAndComplete(std::string_view wire) {
        fill(wire);
        return complete(static_cast<DWORD>(wire.size()));
    }
    static LogLine tooFew() {
        return {Severity::Warning,
                L"::WSARecv completed asynchronously, but there were too few "
                L"bytes transferred [0] to decrypt even a single crypto message"};
    }

    std::vector<std::string> memory; // the host's
    std::vector<WSABUF> posted;      // what the system was given
    DWORD received = 4711;
    DWORD flags = 0;
    DWORD count = 0;
};

} // namespace VexaSsl::test
