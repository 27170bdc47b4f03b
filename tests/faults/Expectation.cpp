#include "faults/Expectation.h"

#include "platform/contract/WindowsBase.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace VexaSsl::test {

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

std::wstring systemText(DWORD code) {
    wchar_t* text = nullptr;
    constexpr DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                            FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    platform::FormatMessageW(flags, nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0,
                             nullptr);
    const std::wstring copy = text == nullptr ? std::wstring() : std::wstring(text);
    platform::LocalFree(text);
    return copy;
}

std::wstring withText(DWORD code) {
    return std::to_wstring(code) + L" (" + systemText(code) + L")";
}

LogLine failed(const std::wstring& what, DWORD code) {
    return error(what + L" failed with: " + withText(code));
}

LogLine failed(const std::wstring& what, std::int64_t status) {
    return failed(what, static_cast<DWORD>(status));
}

namespace {

template <typename List>
auto from(const List& list, std::size_t start) {
    return list.begin() + static_cast<std::ptrdiff_t>(std::min(start, list.size()));
}

std::string shown(const LogLine& line) {
    std::ostringstream text;
    text << line;
    return text.str();
}

std::string shown(const StepOutcome& outcome) {
    return "step of kind " + std::to_string(static_cast<int>(outcome.kind)) + " gives " +
           std::to_string(outcome.result) + " with " + std::to_string(outcome.error) + ", " +
           std::to_string(outcome.breakpoints) + " breakpoints " + outcome.thrown;
}

// The last error is compared unless anyError is expected.
bool same(const StepOutcome& expected, const StepOutcome& actual) {
    const bool errorCounts = expected.error != anyError;
    return expected.kind == actual.kind && expected.result == actual.result &&
           expected.breakpoints == actual.breakpoints && expected.thrown == actual.thrown &&
           (!errorCounts || expected.error == actual.error);
}

} // namespace

Expectation expectationFor(const Scenario& scenario, const RunResult& base, std::size_t step,
                           std::size_t lines, const Consequence& found) {
    Expectation expected;
    if (found.end == Consequence::End::none) {
        expected.lines.assign(base.lines.begin(), from(base.lines, lines));
        std::ranges::copy(found.lines, std::back_inserter(expected.lines));
        expected.lines.insert(expected.lines.end(), from(base.lines, lines + found.replaced),
                              base.lines.end());
        expected.outcomes = base.outcomes;
        // If the operation sets no last error, that of the call may remain.
        int& lastError = expected.outcomes[step].error;
        lastError = lastError == untouchedError ? anyError : lastError;
        return expected;
    }
    std::size_t last = step;
    std::size_t linesBefore = lines;
    if (found.end == Consequence::End::inHandshake) {
        while (!scenario.isHandshake(base.outcomes[last].kind)) {
            ++last;
        }
        linesBefore = base.outcomes[last].firstLine;
    }
    expected.lines.assign(base.lines.begin(), from(base.lines, linesBefore));
    std::ranges::copy(found.lines, std::back_inserter(expected.lines));
    expected.outcomes.assign(base.outcomes.begin(), from(base.outcomes, last));
    expected.outcomes.push_back({.kind = base.outcomes[last].kind,
                                 .result = found.result,
                                 .error = found.error,
                                 .breakpoints = found.breakpoints,
                                 .thrown = found.thrown});
    expected.outcomes.push_back({.kind = Kind::release, .error = anyError});
    const bool isSecured = std::ranges::any_of(
        base.outcomes.begin(), from(base.outcomes, last),
        [&](const StepOutcome& outcome) { return scenario.isHandshake(outcome.kind); });
    if (isSecured) {
        expected.lines.push_back(storeClosed);
    }
    return expected;
}

std::string difference(const Expectation& expected, const RunResult& result) {
    const std::size_t lines = std::max(expected.lines.size(), result.lines.size());
    for (std::size_t i = 0; i < lines; ++i) {
        const std::string wanted = i < expected.lines.size() ? shown(expected.lines[i]) : "nothing";
        const std::string got = i < result.lines.size() ? shown(result.lines[i]) : "nothing";
        if (wanted != got) {
            return "line " + std::to_string(i) + " is\n  " + got + "\ninstead of\n  " + wanted;
        }
    }
    for (std::size_t i = 0; i < std::max(expected.outcomes.size(), result.outcomes.size()); ++i) {
        if (i >= expected.outcomes.size() || i >= result.outcomes.size()) {
            return std::to_string(result.outcomes.size()) + " steps instead of " +
                   std::to_string(expected.outcomes.size());
        }
        if (!same(expected.outcomes[i], result.outcomes[i])) {
            return shown(result.outcomes[i]) + "\ninstead of\n  " + shown(expected.outcomes[i]);
        }
    }
    return result.fault;
}

} // namespace VexaSsl::test
