#include "fakes/SmallStack.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

namespace VexaSsl::test {

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool addressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool addressSanitizer = true;
#else
constexpr bool addressSanitizer = false;
#endif
#else
constexpr bool addressSanitizer = false;
#endif

constexpr std::size_t kibibyte = 1024;
constexpr std::size_t stackSize = (addressSanitizer ? 1024 : 256) * kibibyte;

void* runWork(void* work) {
    (*static_cast<const std::function<void()>*>(work))();
    return nullptr;
}

} // namespace

void runOnSmallStack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stackSize), 0);
    pthread_t thread{};
    std::function<void()> copy = work;
    ASSERT_EQ(pthread_create(&thread, &attributes, runWork, &copy), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    ASSERT_EQ(pthread_attr_destroy(&attributes), 0);
}

} // namespace VexaSsl::test
