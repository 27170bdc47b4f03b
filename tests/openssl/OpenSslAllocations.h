// Counts OpenSSL's allocations in this process, and makes one of them fail.
//
// Not thread-safe.
#pragma once

#include <openssl/crypto.h>

#include <cstddef>
#include <cstdlib>
#include <limits>

namespace VexaSsl::test {

struct OpenSslAllocations {
    static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

    // Must precede OpenSSL's first allocation. Returns whether it does.
    static bool replace() { return CRYPTO_set_mem_functions(allocate, reallocate, release) == 1; }

    static inline std::size_t count = 0;
    static inline std::size_t failing = none; // the position of the one that fails

private:
    static bool failsNow() { return count++ == failing; }
    static void* allocate(std::size_t size, const char*, int) {
        return failsNow() ? nullptr : std::malloc(size);
    }
    static void* reallocate(void* memory, std::size_t size, const char*, int) {
        return failsNow() ? nullptr : std::realloc(memory, size);
    }
    static void release(void* memory, const char*, int) { std::free(memory); }
};

} // namespace VexaSsl::test
