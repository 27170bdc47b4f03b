// The first end that a stream reports, with its error number.
//
// Threads: one.
#pragma once

#include "HostCalls.h"
#include "common/StreamEnd.h"

namespace VexaSsl::tool {

class FirstEnd {
public:
    bool isSet() const { return end != StreamEnd::None; }
    StreamEnd kind() const { return end; }

    // Returns whether it is the first.
    bool set(StreamEnd reported) {
        if (isSet()) {
            return false;
        }
        end = reported;
        error = platform::WSAGetLastError();
        return true;
    }
    // Sets the last error. Returns what a receive returns at the end.
    int report() const {
        platform::WSASetLastError(error);
        return 0;
    }

private:
    StreamEnd end = StreamEnd::None;
    int error = 0;
};

} // namespace VexaSsl::tool
