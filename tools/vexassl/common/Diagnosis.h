// Tells what went wrong on a connection from the lines that the library logged. The library reports
// most causes only there: a socket operation gives no more than SOCKET_ERROR. Any host can do the
// same in its own ILog.
//
// Threads: no lock; ToolLog guards it.
#pragma once

#include "common/ExitStatus.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

class Diagnosis {
public:
    // Takes the next line. The first cause that is recognised stands.
    void observe(std::wstring_view text);

    // The cause, or Well while no line told of a failure.
    ExitStatus status() const { return cause; }

    // The line that told the cause; empty when there is none.
    const std::wstring& causeLine() const { return line; }

    // ": REASON" of the security library, where the line tells only that it failed; else empty.
    const std::string& causeReason() const { return reason; }

    // The configuration could not be read, so the library fell back to plain sockets. The reason is
    // the Warning before or the line itself.
    bool revertedToPlain() const { return reverted; }
    const std::wstring& reversionReason() const { return reversion; }

    // The cause is a fatal alert inside the connection (or a record that looks like none). Behind a
    // shut sending side it is how peers complain of the TLS closure that they never get.
    bool peerSentAlert() const { return alerted; }

private:
    void observeRecordFailure(std::uint32_t code, std::wstring_view text);
    void observeReversion(std::wstring_view text);
    void conclude(ExitStatus status, std::wstring_view text);
    ExitStatus clientHandshakeCause(std::uint32_t code) const;

    ExitStatus cause = ExitStatus::Well;
    std::wstring line;
    std::string reason;
    bool reverted = false;
    std::wstring reversion;
    std::wstring previous;
    bool alerted = false;
    int flightsSent = 0;
};

} // namespace VexaSsl::tool
