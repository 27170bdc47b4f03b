// The sink that the library reports to. A host passes its own or a VexaSsl::SslLog.
//
// Lifetime: always borrowed; the sink must outlive every configuration and strategy made from it.
// Threads: the library calls it on the thread that called the library, without any lock. A host
// that shares one sink between threads guards it inside its implementation.
#pragma once

#include <cstdint>
#include <string>

namespace VexaSsl {

// How much a line matters, and to whom.
enum class Severity : std::int32_t {
    Debug = 1,   // traffic and the stages of a negotiation
    Info = 2,    // detail that explains a failure
    Warning = 3, // a fallback
    Error = 4,   // a failure
    Fatal = 5,   // for the host; the library never uses it
};

// Where the library reports to.
class ILog {
public:
    virtual ~ILog() = default;

    // Takes one line, without a line end. May be called from inside noexcept socket operations: an
    // exception that leaves it there ends the process.
    virtual void log(Severity severity, const std::wstring& text) = 0;

    // Lines below the threshold are dropped from now on. Called by instantiateSocketStrategy.
    virtual void setMinimumSeverity(Severity severity) = 0;
};

} // namespace VexaSsl
