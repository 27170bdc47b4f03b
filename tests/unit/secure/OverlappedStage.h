// Fixture for overlapped operations: a connected strategy, the host's buffers, and the system that
// fills the posted ones.
#pragma once

#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::test {

inline constexpr int unrelatedError = 4711;

class OverlappedTransfer : public testing::Test {
protected:
    OverlappedTransfer();
    LogLine onlyLine() const;

    SecureStage<> stage;
    WSAOVERLAPPED state{};
};

class OverlappedReceiver : public OverlappedTransfer {
protected:
    OverlappedReceiver();

    // Posts one receive for buffers of these sizes.
    int post(std::initializer_list<std::size_t> sizes);
    std::vector<WSABUF> hostBuffers(std::initializer_list<std::size_t> sizes);

    // Fills the posted buffers in order, as the system does when bytes arrive.
    void fill(std::string_view wire);
    int complete(DWORD transferred);
    int fillAndComplete(std::string_view wire);
    static LogLine tooFew();

    std::vector<std::string> memory; // the host's
    std::vector<WSABUF> posted;      // what the system was given
    DWORD received = 4711;
    DWORD flags = 0;
    DWORD count = 0;
};

} // namespace VexaSsl::test
