#include "common/ExitStatus.h"

namespace VexaSsl::tool {

const char* exitStatusName(ExitStatus status) {
    switch (status) {
    case ExitStatus::Success:
        return "well";
    case ExitStatus::Usage:
        return "usage";
    case ExitStatus::CannotConnect:
        return "cannot-connect";
    case ExitStatus::TimedOut:
        return "timed-out";
    case ExitStatus::Handshake:
        return "handshake";
    case ExitStatus::PeerNotTrusted:
        return "peer-not-trusted";
    case ExitStatus::NameMismatch:
        return "name-mismatch";
    case ExitStatus::OwnCertificate:
        return "own-certificate";
    case ExitStatus::RefusedByPeer:
        return "refused-by-peer";
    case ExitStatus::CutShort:
        return "cut-short";
    case ExitStatus::Warnings:
        return "warnings";
    case ExitStatus::Expiring:
        return "expiring";
    }
    return "";
}

} // namespace VexaSsl::tool
