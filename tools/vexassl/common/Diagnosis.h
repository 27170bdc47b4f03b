// Finds why a connection failed from the lines that the library logged.
// IConnectionInfo::lastFailure reports less: nothing of what fails after the handshake or of an
// unreadable configuration, and not the line that a user finds in the log.
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
    // Takes the next line. The first recognised cause is kept.
    void observe(std::wstring_view text);

    // The cause, or Success while no line reported a failure.
    ExitStatus status() const { return cause; }

    // The line that reported the cause; empty without one.
    const std::wstring& causeLine() const { return line; }

    // ": REASON", when the line has only a status that doesn't say enough; else empty.
    const std::string& causeReason() const { return reason; }

    // The configuration couldn't be read, so the library fell back to plain sockets. The reason is
    // the Warning before the line, or the line itself.
    bool revertedToPlain() const { return reverted; }
    const std::wstring& reversionReason() const { return reversion; }

    // A record could not be decrypted, so nothing that the peer sends can be read any more.
    bool streamIsBroken() const { return broken; }

    // The cause is a fatal alert inside the connection, or a record that looks like one. After our
    // sending side was shut down this is how peers report the TLS closure that they never receive.
    bool peerSentAlert() const { return alerted; }

private:
    void observeRecordFailure(std::uint32_t code, std::wstring_view text);
    void observeReversion(std::wstring_view text);
    void conclude(ExitStatus status, std::wstring_view text);
    void conclude(ExitStatus status, std::wstring_view text, const std::string& why);
    ExitStatus clientHandshakeCause(std::uint32_t code) const;

    ExitStatus cause = ExitStatus::Success;
    std::wstring line;
    std::string reason;
    bool reverted = false;
    std::wstring reversion;
    std::wstring previous;
    bool alerted = false;
    bool broken = false;
    int flightsSent = 0;
};

} // namespace VexaSsl::tool
