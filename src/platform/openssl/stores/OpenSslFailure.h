// Reports the failure of an OpenSSL call that can fail for other reasons than lack of memory.
//
// Any thread; the recorded failure is the calling thread's.
#pragma once

#include <exception>

namespace VexaSsl::openssl {

// OpenSSL failed for another reason than lack of memory. The reason has been recorded.
class OpenSslFailure : public std::exception {};

// Records for platform::lastSecurityFailure that call failed, with the first error in the thread's
// error queue.
void recordFailure(const char* call) noexcept;
void clearFailure() noexcept;

// Removes the errors from the thread's queue. Throws std::bad_alloc when one of them is a lack of
// memory; otherwise records the failure and throws OpenSslFailure.
[[noreturn]] void throwFailure(const char* call);

inline void requireSuccess(const char* call, bool succeeded) {
    if (!succeeded) {
        throwFailure(call);
    }
}

// Returns result. Throws as throwFailure does when it is null.
template <class Pointer>
Pointer requireResult(const char* call, Pointer result) {
    requireSuccess(call, result != nullptr);
    return result;
}

} // namespace VexaSsl::openssl
