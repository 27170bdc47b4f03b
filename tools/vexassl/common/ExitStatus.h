// The exit statuses of the tool. The numbers are documented in --help and in the manual and are
// never changed: scripts depend on them.
#pragma once

#include <stdexcept>
#include <string>

namespace VexaSsl::tool {

enum class ExitStatus : int {
    Success = 0,
    Usage = 1,          // wrong arguments or configuration, local files
    CannotConnect = 2,  // cannot resolve, connect or listen
    TimedOut = 3,       // the deadline of --timeout passed
    Handshake = 4,      // handshake or protocol
    PeerNotTrusted = 5, // the peer's certificate chain
    NameMismatch = 6,   // the peer's certificate is for another name
    OwnCertificate = 7, // our certificate or its key
    RefusedByPeer = 8,  // the peer refused our certificate
    CutShort = 9,       // ended before an announced or sent amount of data was complete
    Warnings = 20,      // nothing worse than warnings, under --strict
    Expiring = 21,      // certificates that --expiring asks for exist
};

// Returns the identifier in lines of JSON, "timed-out"; never changed either.
const char* exitStatusName(ExitStatus status);

// The table for --help.
inline constexpr const char* exitStatusHelp =
    "Exit status:\n"
    "  0  success\n"
    "  1  usage or configuration\n"
    "  2  cannot resolve or connect (serve: cannot listen)\n"
    "  3  timed out\n"
    "  4  handshake or protocol\n"
    "  5  peer not trusted\n"
    "  6  name mismatch\n"
    "  7  own certificate or key\n"
    "  8  peer refused our certificate\n"
    "  9  connection ended before an announced or sent amount of data was complete\n"
    "  20 warnings under --strict\n"
    "  21 certificates expire (certificates --expiring)\n";

// Ends a command: what() is the line for stderr, and a note after it may say what to do next.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& text)
        : std::runtime_error(text), status(status) {}

    ExitStatus status;
    std::string note;
};

} // namespace VexaSsl::tool
