#include "serve/ForcedExit.h"

#include "common/ExitStatus.h"

#include <cstdio>
#include <cstdlib>

namespace VexaSsl::tool {

namespace {

// Well below the time that process supervisors allow.
constexpr DWORD patienceMilliseconds = 5000;
constexpr DWORD lineMilliseconds = 500;

[[noreturn]] void endAtOnce(HANDLE ended) {
    // stderr may be blocked too, so nothing waits for the line to be written.
    std::thread([] {
        std::fputs("vexassl: ended at once: standard output or standard error takes no more\n",
                   stderr);
    }).detach();
    platform::WSAWaitForMultipleEvents(1, &ended, FALSE, lineMilliseconds, FALSE);
    std::_Exit(static_cast<int>(ExitStatus::Usage));
}

} // namespace

ForcedExit::ForcedExit(OwnedEvent& stop) : stop(stop), thread([this] { watch(); }) {}

ForcedExit::~ForcedExit() {
    ended.set();
    thread.join();
}

void ForcedExit::watch() const {
    const HANDLE events[] = {ended.get(), stop.get()};
    platform::WSAWaitForMultipleEvents(2, events, FALSE, platform::WSA_INFINITE, FALSE);
    if (platform::WSAWaitForMultipleEvents(1, events, FALSE, patienceMilliseconds, FALSE) ==
        platform::WSA_WAIT_TIMEOUT) {
        endAtOnce(ended.get());
    }
}

} // namespace VexaSsl::tool
