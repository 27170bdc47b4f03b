// The library calls DebugBreak where a stream ends or a record can't be decrypted. Without a
// debugger that ends the process; this handler skips every breakpoint, as a debugger does when its
// user continues.
#include "integration/support/System.h"

#include <atomic>

namespace VexaSsl::test {

namespace {

std::atomic<int> passed{0};

LONG CALLBACK passOver(EXCEPTION_POINTERS* what) {
    if (what->ExceptionRecord->ExceptionCode != EXCEPTION_BREAKPOINT) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    ++passed;
    ++what->ContextRecord->Rip; // the instruction has one byte
    return EXCEPTION_CONTINUE_EXECUTION;
}

const void* const registered = AddVectoredExceptionHandler(1, passOver);

} // namespace

int breakpoints() {
    return passed;
}

} // namespace VexaSsl::test
