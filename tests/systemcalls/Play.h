// One run of a scenario with one failing call, and the sweep over all of its calls.
//
// A scenario plays its part on a thread of its own, so that what a thread makes once is made anew
// each time. Only its steps are armed.
#pragma once

#include "integration/support/SharedLog.h"
#include "systemcalls/FailingCalls.h"

#include <functional>
#include <span>
#include <string>

namespace VexaSsl::test {

// Both ends are content with this name and these bytes, or the run notes what went wrong.
struct Play {
    FaultPlan plan;
    SharedLog log;
    std::string failedStep = {}; // empty: all went well
    int error = 0;               // the last-error slot behind the failed step
    std::string wrong = {};      // what must never be, whatever failed

    // Does the work while calls may fail. A later step isn't done once one has failed.
    // Result: whether the work said that it went well.
    bool step(const std::string& name, const std::function<bool()>& work);
    bool wentWell() const { return failedStep.empty() && wrong.empty(); }
};

using Part = std::function<void(Play&)>;

// EINTR, EAGAIN, ECONNRESET, ENOMEM, EMFILE, EIO, ENOBUFS, and transfers of one byte.
std::span<const Fault> allFaults();

// Whether the fault of this call may not be noticed: a byte alone, an interruption of a call that
// waits or touches a device, or "not yet" from a call that can be made again.
bool mustNotMatter(const Play& play);

// Winsock's number for what a call failed with.
int winsockNumber(int systemError);

// Plays the part once for every call that it makes and every fault, each in turn failing, and
// checks: nothing wrong, no descriptor left, what must not matter doesn't matter, and what else the
// judge says of a run that was hit. Tells the figures.
void sweep(const std::string& scenario, const Part& part,
           const std::function<void(const Play&)>& judge);

} // namespace VexaSsl::test
