#include "faults/FailingAllocation.h"

#include "faults/FailingCall.h"
#include "faults/Failures.h"

#include <algorithm>

namespace VexaSsl::test {

namespace {

Consequence withException(const Scenario& scenario, Kind kind,
                          const SeenAllocation& failedAllocation) {
    Consequence found{.end = Consequence::End::here};
    if (kind == Kind::configure || kind == Kind::build) {
        found.thrown = "std::bad_alloc"; // to the host, without a line
        found.error = anyError;
        return found;
    }
    if (kind == Kind::release) {
        // The store is closed; only its line is lost.
        return {.replaced = 1};
    }
    if (scenario.isHandshake(kind)) {
        if (failedAllocation.storesHeld != 0) {
            found.lines.push_back(storeClosed);
        }
        found.error = kind == Kind::startTls ? anyError : WSAECONNABORTED;
    }
    if (kind == Kind::resolve) {
        found.result = WSA_NOT_ENOUGH_MEMORY;
        found.error = anyError;
    }
    found.lines.push_back(noMemory);
    return found;
}

bool isPointer(Call call) {
    return call == Call::CertOpenStore || call == Call::CertFindCertificateInStore;
}

// Whether the call had the same outcome in both runs, as far as the library sees.
bool hasSameOutcome(const SeenCall& base, const SeenCall& actual) {
    if (actual.call == Call::GetComputerNameExW) { // querying the size also returns FALSE
        return base.result == actual.result && base.error == actual.error;
    }
    const bool isSocket = actual.call == Call::accept || actual.call == Call::WSAAccept;
    return base.result == actual.result ||
           (isPointer(actual.call) && base.result != 0 && actual.result != 0) ||
           (isSocket && base.result != -1 && actual.result != -1);
}

} // namespace

Expectation expectedWithoutMemory(const Scenario& scenario, const RunResult& base,
                                  const RunResult& result) {
    const SeenAllocation& failedAllocation = result.failedAllocation.value();
    const std::size_t step = failedAllocation.steps - 1;
    const std::size_t position = failedAllocation.calls - 1;
    const bool isAnswered = failedAllocation.inPlatform && !result.calls[position].threw;
    if (!isAnswered) {
        return expectationFor(scenario, base, step, failedAllocation.lines,
                              withException(scenario, base.outcomes[step].kind, failedAllocation));
    }
    const SeenCall& call = result.calls[position];
    if (hasSameOutcome(base.calls[position], call)) {
        return {base.lines, base.outcomes};
    }
    const Failure failure{.result = call.result, .error = call.error};
    return FailingCall(scenario, base, position, failure).expectation();
}

} // namespace VexaSsl::test
