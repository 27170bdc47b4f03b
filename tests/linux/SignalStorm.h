// Signals sent to the thread of a test.
#pragma once

#include <thread>

namespace VexaSsl::test {

// Sends signals to the thread that made it until it is destroyed; the handler does nothing and
// system calls are not restarted.
class SignalStorm {
public:
    SignalStorm();
    ~SignalStorm();

    static int delivered(); // signals handled since the storm began

private:
    std::jthread sender;
};

} // namespace VexaSsl::test
