// Wraps every call of the security package: exceptions, and OpenSSL's error queue. Any thread.
#pragma once

#include "SecurityShapes.h"
#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/stores/OpenSslStart.h"

#include <openssl/err.h>

#include <exception>
#include <new>

namespace VexaSsl::openssl {

// Empties the thread's error queue, as SSL_get_error requires before the operation.
inline void emptyErrorQueue() noexcept {
    // The queue is nearly always empty, and clearing it takes ten times as long as checking.
    if (ERR_peek_error() != 0) {
        ERR_clear_error();
    }
}

// Returns operation(), SEC_E_INSUFFICIENT_MEMORY when it runs out of memory, and
// SEC_E_INTERNAL_ERROR for any other exception. Leaves the error queue empty for the host's own use
// of OpenSSL.
template <class Operation>
SECURITY_STATUS packageCall(Operation operation) noexcept {
    try {
        startOpenSsl();
        emptyErrorQueue();
        const ErrorQueueGuard errors;
        return operation();
    } catch (const std::bad_alloc&) {
        return SEC_E_INSUFFICIENT_MEMORY;
    } catch (const std::exception&) {
        return SEC_E_INTERNAL_ERROR;
    }
}

// The same for an operation on one record, which takes hardly longer than clearing the queue twice.
// It doesn't read the queue, so the queue is cleared only after a failure.
template <class Operation>
SECURITY_STATUS recordCall(Operation operation) noexcept {
    SECURITY_STATUS status = SEC_E_INTERNAL_ERROR;
    try {
        status = operation();
    } catch (const std::exception&) {
    }
    if (status < 0 && status != SEC_E_INCOMPLETE_MESSAGE) {
        ERR_clear_error();
        clearFailure(); // an earlier call's, which is not the reason of this one
    }
    return status;
}

} // namespace VexaSsl::openssl
