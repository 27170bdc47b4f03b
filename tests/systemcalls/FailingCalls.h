// System calls that fail when a test wants it. The program defines functions of the C library
// itself, so that the libraries in the process call these, and they pass the call on or fail it.
//
// Threads: a plan counts and strikes on the thread that armed it; calls of other threads pass.
// Ownership: the plan is borrowed while it is armed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::test {

struct Fault {
    std::string_view name;
    int number; // errno; 0: the call goes through, but moves one byte only

    bool movesOneByte() const { return number == 0; }
};

// Which of the calls that come fails, and how.
struct FaultPlan {
    static constexpr std::size_t never = ~std::size_t{0};

    std::size_t at = never; // this call, counted from 0; of one byte: only transfers count
    Fault fault;
    bool everyOneFrom = false; // and every one behind it

    std::size_t seen = 0;
    std::string step;         // what the test was doing, set by the test
    std::string hitCall = {}; // what was hit; empty: nothing
    std::string hitStep = {};

    bool hasHit() const { return !hitCall.empty(); }
    // Counts a call. Result: whether it is to fail.
    bool strikes(std::string_view call);
};

// For its lifetime the calls of this thread are those of the plan.
class Armed {
public:
    explicit Armed(FaultPlan& plan);
    ~Armed();
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
};

} // namespace VexaSsl::test
