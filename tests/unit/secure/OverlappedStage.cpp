#include "unit/secure/OverlappedStage.h"

#include <algorithm>
#include <cstring>

namespace VexaSsl::test {

OverlappedTransfer::OverlappedTransfer() {
    stage.makeConnected();
    stage.platform.lastError = unrelatedError;
}

LogLine OverlappedTransfer::onlyLine() const {
    EXPECT_EQ(stage.log.lines.size(), 1U);
    return stage.log.lines.empty() ? LogLine{} : stage.log.lines.front();
}

OverlappedReceiver::OverlappedReceiver() {
    stage.lower->onWSARecv = [this](SOCKET, WSABUF* buffers, DWORD number, DWORD*, DWORD*,
                                    WSAOVERLAPPED*, LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
        posted.assign(buffers, buffers + number);
        stage.platform.lastError = WSA_IO_PENDING;
        return SOCKET_ERROR;
    };
}

int OverlappedReceiver::post(std::initializer_list<std::size_t> sizes) {
    std::vector<WSABUF> buffers = hostBuffers(sizes);
    return stage.strategy->WSARecv(SecureStage<>::connection, buffers.data(),
                                   static_cast<DWORD>(buffers.size()), &received, &flags, &state,
                                   nullptr);
}

std::vector<WSABUF> OverlappedReceiver::hostBuffers(std::initializer_list<std::size_t> sizes) {
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

void OverlappedReceiver::fill(std::string_view wire) {
    for (const WSABUF& buffer : posted) {
        const std::size_t part = std::min<std::size_t>(buffer.len, wire.size());
        std::memcpy(buffer.buf, wire.data(), part);
        wire.remove_prefix(part);
    }
    ASSERT_TRUE(wire.empty());
}

int OverlappedReceiver::complete(DWORD transferred) {
    count = transferred;
    return stage.strategy->completeWSARecv(unrelatedError, &count, this);
}

int OverlappedReceiver::fillAndComplete(std::string_view wire) {
    fill(wire);
    return complete(static_cast<DWORD>(wire.size()));
}

LogLine OverlappedReceiver::tooFew() {
    return {Severity::Warning, L"::WSARecv completed asynchronously, but there were too few "
                               L"bytes transferred [0] to decrypt even a single crypto message"};
}

} // namespace VexaSsl::test
