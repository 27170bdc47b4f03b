// One run of a scenario with one failing call, and the sweep over all of its calls.
//
// A scenario runs on a new thread each time, so that it creates what exists once in a thread. Only
// its steps are armed.
#pragma once

#include "integration/support/SharedLog.h"
#include "systemcalls/FailingCalls.h"

#include <functional>
#include <span>
#include <string>

namespace VexaSsl::test {

// Both ends use this name and these bytes; anything else is recorded as wrong.
struct Play {
    FaultPlan plan;
    SharedLog log;
    std::string failedStep = {}; // empty: none
    int error = 0;               // the error code after the failed step
    std::string wrong = {};      // what must never happen, whatever failed

    // Runs the work while calls may fail, unless an earlier step has failed. Returns whether the
    // work has succeeded.
    bool step(const std::string& name, const std::function<bool()>& work);
    bool wentWell() const { return failedStep.empty() && wrong.empty(); }
};

using Part = std::function<void(Play&)>;

// EINTR, EAGAIN, ECONNRESET, ENOMEM, EMFILE, EIO, ENOBUFS, and transfers of one byte.
std::span<const Fault> allFaults();

// Returns whether the fault must have no effect: a single byte, an interruption of a call that
// waits or does I/O, or EAGAIN from a call that can be repeated.
bool mustNotMatter(const Play& play);

// Returns Winsock's error code for the failure of a call.
int winsockNumber(int systemError);

// Runs the scenario once for each of its calls and each fault. Checks that nothing is wrong, no
// descriptor leaks, faults that must have no effect have none, and what check requires after a
// failed call. Records the figures.
void sweep(const std::string& scenario, const Part& part,
           const std::function<void(const Play&)>& check);

} // namespace VexaSsl::test
