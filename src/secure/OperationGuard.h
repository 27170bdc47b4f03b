// Where exceptions end. A socket operation runs its body in guardOperation and so can't throw: what
// the body throws becomes one Error line and the operation's failure value.
//
// The line tells of the exception only; the detail has been logged where it was thrown. If the log
// throws while it takes the line, or memory runs out while the line is made, nothing catches: the
// operations are noexcept and the process ends. A host's log must be able to take a line.
#pragma once

#include "VexaSsl/ILog.h"
#include "VexaSsl/TextConversion.h"

#include <exception>
#include <new>
#include <stdexcept>

namespace VexaSsl {

// What an operation met, for those whose result depends on it.
enum class Interruption { RuntimeError, OutOfMemory, Other };

inline constexpr const wchar_t* noSecurityContextPrefix = L"Can't establish a security context. ";
inline constexpr const wchar_t* outOfMemoryPrefix = L"A memory allocation failed. ";
inline constexpr const wchar_t* otherExceptionPrefix =
    L"An unexpected C++ standard library exception occurred: ";

inline void nothingFirst() {}

// Result: the body's; or, when it throws: beforeLine runs, the Error line is written, and the
// result is that of afterLine. runtimeErrorPrefix begins the line of a std::runtime_error, the one
// class whose meaning differs between the operations.
template <typename Body, typename BeforeLine, typename AfterLine>
auto guardOperation(ILog& log, const wchar_t* runtimeErrorPrefix, Body body, BeforeLine beforeLine,
                    AfterLine afterLine) -> decltype(body()) {
    const auto interrupted = [&](Interruption kind, const wchar_t* prefix,
                                 const std::exception& exception) -> decltype(body()) {
        beforeLine();
        log.log(Severity::Error, prefix + convertNarrowToWide(exception.what()));
        return afterLine(kind);
    };
    try {
        return body();
    } catch (const std::runtime_error& exception) {
        return interrupted(Interruption::RuntimeError, runtimeErrorPrefix, exception);
    } catch (const std::bad_alloc& exception) {
        return interrupted(Interruption::OutOfMemory, outOfMemoryPrefix, exception);
    } catch (const std::exception& exception) {
        return interrupted(Interruption::Other, otherExceptionPrefix, exception);
    }
}

} // namespace VexaSsl
