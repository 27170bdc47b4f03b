// What serve prints while it runs. For a user: the address on stdout, messages and failures on
// stderr. For a script, with --json: one object a line on stdout for the address, for the start and
// the end of each connection, and for each message; the library's lines stay on stderr.
//
// Threads: any; it has a lock. Ownership: the printer is borrowed and outlives it.
#pragma once

#include "common/ExitStatus.h"
#include "common/ToolLog.h"

#include <atomic>
#include <mutex>
#include <string>

namespace VexaSsl::tool {

struct Envelope;

class ServeReport {
public:
    ServeReport(LinePrinter& printer, bool json) : printer(printer), json(json) {}

    // Throws Failure (Usage) when stdout fails: nobody would know where to connect.
    void listening(const std::string& address) const;
    void begun(unsigned long number, const std::string& peer);
    void message(unsigned long number, const Envelope& envelope);
    // At once, for a user.
    void failed(unsigned long number, const std::string& text);
    // At the end of a connection, for scripts. text: the failure, else empty.
    void ended(unsigned long number, const std::string& peer, ExitStatus outcome,
               const std::string& text);

    // Whether stdout took every object. After a failure later objects are tried all the same: a
    // reader that goes away doesn't end connections.
    bool isComplete() const { return complete; }

private:
    template <typename Make>
    void print(Make makeLine) noexcept;

    LinePrinter& printer;
    const bool json;
    std::mutex mutex;
    std::atomic<bool> complete = true;
};

} // namespace VexaSsl::tool
