// Where exceptions end: a socket operation runs its body in guardOperation, which turns an
// exception into one Error line and the operation's failure value.
//
// The line has the exception's text only; the reason was logged where it was thrown. If memory runs
// out for the line, it is dropped and the operation still returns its failure value. If the log
// throws anything else, the process ends, since the operations are noexcept.
#pragma once

#include "VexaSsl/ILog.h"
#include "VexaSsl/TextConversion.h"
#include "secure/LogTexts.h"

#include <exception>
#include <new>
#include <stdexcept>

namespace VexaSsl {

// The class of the exception that ended an operation.
enum class Interruption { RuntimeError, OutOfMemory, Other };

inline void noCleanup() {}

// Logs the line that makeLine returns; drops it if memory runs out. For lines that an operation
// logs outside of its guarded body.
template <typename MakeLine>
void logIfMemoryAllows(ILog& log, Severity severity, MakeLine makeLine) {
    try {
        log.log(severity, makeLine());
    } catch (const std::bad_alloc&) { // nothing is left to report it with
    }
}

// Returns what body returns. If it throws: runs cleanUp, logs the Error line and returns what
// failureValue returns. runtimeErrorPrefix starts the line of a std::runtime_error, which means
// something different in each operation.
template <typename Body, typename CleanUp, typename FailureValue>
auto guardOperation(ILog& log, const wchar_t* runtimeErrorPrefix, Body body, CleanUp cleanUp,
                    FailureValue failureValue) -> decltype(body()) {
    const auto interrupted = [&](Interruption kind, const wchar_t* prefix,
                                 const std::exception& exception) -> decltype(body()) {
        cleanUp();
        logIfMemoryAllows(log, Severity::Error,
                          [&] { return prefix + convertNarrowToWide(exception.what()); });
        return failureValue(kind);
    };
    try {
        return body();
    } catch (const std::runtime_error& exception) {
        return interrupted(Interruption::RuntimeError, runtimeErrorPrefix, exception);
    } catch (const std::bad_alloc& exception) {
        return interrupted(Interruption::OutOfMemory, LogTexts::outOfMemoryPrefix, exception);
    } catch (const std::exception& exception) {
        return interrupted(Interruption::Other, LogTexts::otherExceptionPrefix, exception);
    }
}

} // namespace VexaSsl
