// What every call of the security package does around its work. Any thread.
#pragma once

#include "SecurityShapes.h"

#include <openssl/err.h>

#include <exception>
#include <new>

namespace VexaSsl::openssl {

// OpenSSL judges an operation by the thread's error queue, so nothing old may lie in there, and
// nothing of ours may be left behind for the host's own use of OpenSSL.
class CleanErrorQueue {
public:
    CleanErrorQueue() noexcept { clear(); }
    ~CleanErrorQueue() { clear(); }
    CleanErrorQueue(const CleanErrorQueue&) = delete;
    CleanErrorQueue& operator=(const CleanErrorQueue&) = delete;

private:
    // Nearly always there is nothing, and to clear that takes ten times as long as to see it.
    static void clear() noexcept {
        if (ERR_peek_error() != 0) {
            ERR_clear_error();
        }
    }
};

// Result: the operation's, SEC_E_INSUFFICIENT_MEMORY when it ran out of memory, and
// SEC_E_INTERNAL_ERROR for any other exception.
template <class Operation>
SECURITY_STATUS packageCall(Operation operation) noexcept {
    const CleanErrorQueue queue;
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return SEC_E_INSUFFICIENT_MEMORY;
    } catch (const std::exception&) {
        return SEC_E_INTERNAL_ERROR;
    }
}

// The same around work on one record, which takes hardly longer than clearing the queue twice. It
// doesn't judge by the queue, so only what a failure of OpenSSL leaves there has to go.
template <class Operation>
SECURITY_STATUS recordCall(Operation operation) noexcept {
    SECURITY_STATUS status = SEC_E_INTERNAL_ERROR;
    try {
        status = operation();
    } catch (const std::exception&) {
    }
    if (status < 0 && status != SEC_E_INCOMPLETE_MESSAGE) {
        ERR_clear_error();
    }
    return status;
}

} // namespace VexaSsl::openssl
