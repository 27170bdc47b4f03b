// What a run is expected to come to, told as what differs from a run without the failure, and the
// words for that.
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

// What a failure leads to.
struct Consequence {
    std::size_t replaced = 0; // so many lines of the base go, and these come in their place
    Lines lines = {};
    // Where the run ends: nowhere, in the step of the call, or in the handshake that comes later.
    enum class End { none, here, inHandshake } end = End::none;
    std::int64_t result = -1;
    int error = untouchedError;
    int breakpoints = 0;
    std::string thrown = {};
};

// The whole run: base up to so many lines in the step, then the consequence, then what is left.
Expectation unfold(const Scenario& scenario, const Course& base, std::size_t step,
                   std::size_t lines, const Consequence& consequence);

// What distinguishes the course from the expectation; empty when nothing does.
std::string difference(const Expectation& expected, const Course& course);

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
