// A failing call and its documented consequence.
#pragma once

#include "faults/Expectation.h"

#include <algorithm>
#include <span>

namespace VexaSsl::test {

// One failing call of a run.
class FailingCall {
public:
    FailingCall(const Scenario& scenario, const RunResult& base, std::size_t position,
                const Failure& failure)
        : scenario(scenario), base(base), position(position), call(base.calls[position]),
          failure(failure) {
        const auto later = std::ranges::find_if(base.outcomes, [&](const StepOutcome& outcome) {
            return outcome.firstCall > position;
        });
        step = static_cast<std::size_t>(later - base.outcomes.begin()) - 1;
        kind = base.outcomes[step].kind;
    }

    Expectation expectation() const {
        return expectationFor(scenario, base, step, call.lines, consequence());
    }

private:
    Consequence consequence() const;
    Consequence ofTransport() const;
    Consequence ofPackage() const;
    Consequence ofCertificates() const;
    Consequence ofBase() const;

    Consequence ofSend() const;
    Consequence ofReceive() const;
    Consequence ofHandshakeStep(const std::wstring& name) const;
    Consequence ofAttribute() const;
    Consequence ofDecryption() const;
    Consequence ofFailedDecryption() const;
    Consequence ofSearch() const;
    Consequence ofName() const;
    Consequence ofRejectedChain(const Lines& why) const;
    Consequence ofFriendlyName() const;
    Lines linesOfPolicyStatus() const;
    std::wstring nameAtFault() const;
    // Whether a server checks its own certificate instead of the client's.
    bool checksOwnCertificate() const {
        return scenario.serves && scenario.certificate == Certificate::any;
    }
    Consequence ofWideText() const;
    Consequence ofErrorText() const;
    Consequence ofUserName() const;
    Consequence ofClosing() const;

    bool inHandshake() const { return scenario.isHandshake(kind); }
    // Whether the connection isn't encrypted yet.
    bool inClear() const {
        return scenario.upgrades &&
               std::ranges::none_of(
                   base.outcomes.begin(),
                   base.outcomes.begin() + static_cast<std::ptrdiff_t>(step) + 1,
                   [&](const StepOutcome& outcome) { return scenario.isHandshake(outcome.kind); });
    }

    Consequence continues(Lines lines = {}, std::size_t replaced = 0) const {
        return {.replaced = replaced, .lines = std::move(lines)};
    }
    Consequence ends(std::int64_t result, int lastError, Lines lines = {}) const {
        return {.lines = std::move(lines),
                .end = Consequence::End::here,
                .result = result,
                .error = lastError == untouchedError ? errorBefore() : lastError,
                .breakpoints = breakpointsBefore()};
    }
    // The host gets the failure of the call below.
    Consequence returnsFailure(std::int64_t result) const {
        return ends(result, static_cast<int>(failure.error));
    }
    // The handshake fails and closes the store if it is open.
    Consequence handshakeFails(Lines lines, const std::wstring& text,
                               bool storeIsOpen = true) const {
        if (storeIsOpen) {
            lines.push_back(storeClosed);
        }
        lines.push_back(error(noContext + text));
        return ends(-1, kind == Kind::startTls ? anyError : WSAECONNABORTED, std::move(lines));
    }
    // The calls of the step before this one.
    std::span<const SeenCall> callsBefore() const {
        const std::size_t first = base.outcomes[step].firstCall;
        return std::span(base.calls).subspan(first, position - first);
    }
    // The last error if the call doesn't set one.
    int errorBefore() const {
        return callsBefore().empty() ? untouchedError
                                     : static_cast<int>(callsBefore().back().error);
    }
    // The breakpoints of earlier failures in the step.
    int breakpointsBefore() const;
    // Log layers show one more read or write.
    Lines encryptionLayer(const std::wstring& verb) const {
        return scenario.hasLogLayers ? Lines{debug(L"Encryption Layer using socket [S] to " + verb +
                                                   L" [N] byte message")}
                                     : Lines{};
    }
    const LogLine& nextLine(std::size_t further = 0) const {
        return base.lines.at(call.lines + further);
    }

    const Scenario& scenario;
    const RunResult& base;
    const std::size_t position;
    const SeenCall& call;
    const Failure& failure;
    std::size_t step = 0;
    Kind kind = Kind::build;
};

} // namespace VexaSsl::test
