// What happens when a call of OpenSSL fails that can fail for more than lack of memory.
//
// Any thread; the text that is kept is the calling thread's.
#pragma once

#include <exception>

namespace VexaSsl::openssl {

// OpenSSL failed for another reason than lack of memory. The reason is kept.
class OpenSslFailure : public std::exception {};

// Keeps for platform::lastSecurityFailure that call failed, with the first error of the thread's
// queue.
void keepFailureOf(const char* call) noexcept;
void forgetFailure() noexcept;

// Takes the errors out of the thread's queue. Throws std::bad_alloc when one of them is lack of
// memory, else OpenSslFailure.
[[noreturn]] void throwFailureOf(const char* call);

inline void requireSuccess(const char* call, bool succeeded) {
    if (!succeeded) {
        throwFailureOf(call);
    }
}

// Returns what call has returned, which is null when it failed.
template <class Pointer>
Pointer requireResult(const char* call, Pointer result) {
    requireSuccess(call, result != nullptr);
    return result;
}

} // namespace VexaSsl::openssl
