#include "faults/FailingAllocation.h"

#include "faults/FailingCall.h"
#include "faults/Failures.h"

#include <algorithm>

namespace VexaSsl::test {

namespace {

Consequence withException(const Scenario& scenario, Kind kind, const SeenAllocation& refused) {
    Consequence found{.end = Consequence::End::here};
    if (kind == Kind::configure || kind == Kind::build) {
        found.thrown = "std::bad_alloc"; // the host's, without a line
        found.error = anyError;
        return found;
    }
    if (kind == Kind::release) {
        // The store is closed all the same; its line is lost.
        return {.replaced = 1};
    }
    if (scenario.isHandshake(kind)) {
        if (refused.storesHeld != 0) {
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

// Whether the call came to the same in both runs, as far as the library can tell.
bool gaveTheSame(const SeenCall& base, const SeenCall& given) {
    if (given.call == Call::GetComputerNameExW) { // FALSE is also what asking for the size gives
        return base.result == given.result && base.error == given.error;
    }
    const bool isSocket = given.call == Call::accept || given.call == Call::WSAAccept;
    return base.result == given.result ||
           (isPointer(given.call) && base.result != 0 && given.result != 0) ||
           (isSocket && base.result != -1 && given.result != -1);
}

} // namespace

Expectation expectedWithoutMemory(const Scenario& scenario, const Course& base,
                                  const Course& course) {
    const SeenAllocation& refused = course.refused.value();
    const std::size_t step = refused.steps - 1;
    const std::size_t position = refused.calls - 1;
    const bool isAnswered = refused.inPlatform && !course.calls[position].threw;
    if (!isAnswered) {
        return unfold(scenario, base, step, refused.lines,
                      withException(scenario, base.outcomes[step].kind, refused));
    }
    const SeenCall& call = course.calls[position];
    if (gaveTheSame(base.calls[position], call)) {
        return {base.lines, base.outcomes};
    }
    const Failure failure{.result = call.result, .error = call.error};
    return FailingCall(scenario, base, position, failure).expectation();
}

} // namespace VexaSsl::test
