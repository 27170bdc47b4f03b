// The sink for everything the library reports. A host implements its own or uses VexaSsl/SslLog.h.
//
// Threads: the library calls the sink on the thread that called the library and takes no lock. A
// host that shares one sink between threads guards it in its implementation.
#pragma once

#include <cstdint>
#include <string>

namespace VexaSsl {

// The severity of a line. MinimumSeverityToLog can set the threshold to the first three.
enum class Severity : std::int32_t {
    Debug = 1,   // traffic and the stages of a negotiation
    Info = 2,    // details that explain a failure
    Warning = 3, // a fallback, such as no encryption
    Error = 4,   // a failure
    Fatal = 5,   // for hosts; the library never uses it
};

// Implemented by the host or by SslLog.
class ILog {
public:
    virtual ~ILog() = default;

    // Takes one line, without a line end. Lines below the threshold are passed too; dropping them
    // is the sink's task. It must not throw: the operations of strategies are noexcept, so an
    // exception that leaves it while an operation reports a failure ends the process. After
    // std::bad_alloc only the line is lost.
    virtual void log(Severity severity, const std::wstring& text) = 0;

    // Sets the threshold: from now on lines below it are dropped. instantiateSocketStrategy calls
    // it, so stacks that share a sink have the threshold of the latest one.
    virtual void setMinimumSeverity(Severity severity) = 0;
};

} // namespace VexaSsl
