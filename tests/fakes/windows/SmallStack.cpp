#include "fakes/SmallStack.h"

#include <gtest/gtest.h>

// clang-format off
#include <windows.h>
#include <process.h>
// clang-format on

namespace VexaSsl::test {

namespace {

constexpr unsigned int stackSize = 256 * 1024;

unsigned int __stdcall runWork(void* work) {
    (*static_cast<const std::function<void()>*>(work))();
    return 0;
}

} // namespace

void runOnSmallStack(const std::function<void()>& work) {
    std::function<void()> copy = work;
    const auto thread = reinterpret_cast<HANDLE>(_beginthreadex(
        nullptr, stackSize, runWork, &copy, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
    ASSERT_NE(thread, nullptr);
    ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    CloseHandle(thread);
}

} // namespace VexaSsl::test
