// The log lines of a handshake that are the same on both sides.
#pragma once

#include "fakes/CollectingLog.h"

#include <string>

namespace VexaSsl::test {

inline LogLine debugLine(const std::wstring& text) {
    return {Severity::Debug, text};
}
inline LogLine sending(int length) {
    return debugLine(L"sending [" + std::to_wstring(length) +
                     L"] byte message (during negotiation)");
}
inline LogLine received(int length) {
    return debugLine(L"received [" + std::to_wstring(length) + L"] byte message");
}
inline LogLine peerGone() {
    return {Severity::Warning, L"Connection closed (during negotiation)"};
}
inline LogLine aborting() {
    return {Severity::Warning, L"An encrypted connection could not be successfully initialised on "
                               L"socket [5000000000]. Aborting"};
}
inline LogLine notConfidential() {
    return {Severity::Error, L"A security context was established successfully, however it does "
                             L"not provide confidentiality (encryption). Aborting"};
}

} // namespace VexaSsl::test
