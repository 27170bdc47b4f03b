// The expected outcome of a run, expressed as the difference from a run without the failure.
#pragma once

#include "faults/Scenario.h"
#include "integration/support/LogMatchers.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

using Lines = std::vector<LogLine>;

struct Expectation {
    Lines lines;
    std::vector<StepOutcome> outcomes;
};

// The consequence of a failure.
struct Consequence {
    std::size_t replaced = 0; // the number of base lines that `lines` replace
    Lines lines = {};
    // Where the run ends: nowhere, in the step of the call, or in the later handshake.
    enum class End { none, here, inHandshake } end = End::none;
    std::int64_t result = -1;
    int error = untouchedError;
    int breakpoints = 0;
    std::string thrown = {};
};

// The whole run: the base up to a line in the step, the consequence, and the rest of the base.
Expectation expectationFor(const Scenario& scenario, const RunResult& base, std::size_t step,
                           std::size_t lines, const Consequence& consequence);

// Describes the difference between the result and the expectation; empty if they are equal.
std::string difference(const Expectation& expected, const RunResult& result);

// --- Lines.

Lines operator+(Lines left, const Lines& right);

std::wstring systemText(DWORD code);
// "5 (Access is denied. )"
std::wstring withText(DWORD code);
// The line of a failed call of the system.
LogLine failed(const std::wstring& what, DWORD code);
LogLine failed(const std::wstring& what, std::int64_t status);

inline const LogLine storeClosed = debug(L"Closed Cert Store");
inline const std::wstring noContext = L"Can't establish a security context. ";
inline const LogLine noMemory = error(L"A memory allocation failed. std::bad_alloc");

} // namespace VexaSsl::test
