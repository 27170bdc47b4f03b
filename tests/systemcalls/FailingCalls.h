// System calls that fail as a test requests. The program replaces functions of the C library, so
// that the libraries in the process call these, which forward the call or fail.
//
// Threads: a plan counts calls of the thread that armed it; those of other threads are forwarded.
// Ownership: the plan is borrowed while it is armed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::test {

struct Fault {
    std::string_view name;
    int number; // errno; 0: the call succeeds but transfers only one byte

    bool movesOneByte() const { return number == 0; }
};

// Which of the next calls fails, and how.
struct FaultPlan {
    static constexpr std::size_t never = ~std::size_t{0};

    std::size_t at = never; // the number of the call, from 0; for single bytes only transfers count
    Fault fault;
    bool everyOneFrom = false;  // and every later one
    std::string_view only = {}; // counts only the functions whose name contains this

    std::size_t seen = 0;
    std::string step;         // the current step, set by the test
    std::string hitCall = {}; // the call that failed; empty: none
    std::string hitStep = {};

    bool hasHit() const { return !hitCall.empty(); }
    // Counts a call. Returns whether it must fail.
    bool strikes(std::string_view call);
};

// Applies the plan to the calls of this thread during its lifetime.
class Armed {
public:
    explicit Armed(FaultPlan& plan);
    ~Armed();
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
};

} // namespace VexaSsl::test
