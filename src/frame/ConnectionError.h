// Why a connection could not be established, as the strategies keep it for
// IConnectionInfo::lastFailure: small, since every connection has one, and without the system's
// text, which is looked up when a host asks.
//
// Threads: values; the functions may run on any thread.
#pragma once

#include "VexaSsl/IConnectionInfo.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace VexaSsl {

struct FailureReason {
    FailureCause cause = FailureCause::None;
    std::int32_t status = 0;    // as in ConnectionFailure
    const char* text = nullptr; // of static storage; null without a failure
};

// The exception of whatever prevents a secured connection. It is thrown after the detail has been
// logged, and what() is a short fixed text.
class ConnectionError : public std::runtime_error {
public:
    ConnectionError(FailureCause cause, const char* text, std::int32_t status = 0)
        : std::runtime_error(text), reason{cause, status, text} {}
    // With a reason that has another text.
    ConnectionError(const FailureReason& reason, const std::string& text)
        : std::runtime_error(text), reason(reason) {}

    FailureReason reason;
};

// Returns the reason of the exception that is being handled.
FailureReason currentReason() noexcept;

// Returns the cause of a failed socket operation, given its error code.
FailureCause causeOfSocketError(int code) noexcept;

// Returns the reason of a socket operation that has just failed, whose error code is still the last
// one, or none if it has succeeded.
FailureReason outcomeOf(bool succeeded, const char* text) noexcept;

// Returns the reason with the system's text.
ConnectionFailure describe(const FailureReason& reason);

} // namespace VexaSsl
