// What serve tells while it runs. For a person: the address on stdout, and on stderr messages and
// failures. For a script, with --json: an object a line on stdout for the address, for each
// connection that begins and ends, and for each message; the library's lines stay on stderr.
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
    ServeReport(LinePrinter& errorPrinter, bool inJson) : printer(errorPrinter), json(inJson) {}

    // Throws Failure (Usage) when stdout doesn't take it: nobody would know where to connect.
    void listening(const std::string& address) const;
    void begun(unsigned long number, const std::string& peer);
    void message(unsigned long number, const Envelope& envelope);
    // At once, for persons.
    void failed(unsigned long number, const std::string& text);
    // Once a connection is over, for scripts. text: of a failure, else empty.
    void ended(unsigned long number, const std::string& peer, ExitStatus outcome,
               const std::string& text);

    // Whether stdout took every object. Those behind one that was lost are tried all the same: a
    // reader that goes away doesn't end the connections of others.
    bool isComplete() const { return complete; }

private:
    template <typename Make>
    void tell(Make makeLine) noexcept;

    LinePrinter& printer;
    const bool json;
    std::mutex mutex;
    std::atomic<bool> complete = true;
};

} // namespace VexaSsl::tool
