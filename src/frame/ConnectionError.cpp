#include "frame/ConnectionError.h"

#include "VexaSsl/TextConversion.h"
#include "frame/ErrorText.h"
#include "platform/contract/Winsock.h"

#include <new>
#include <stdexcept>

namespace VexaSsl {

FailureReason currentReason() noexcept {
    try {
        throw;
    } catch (const ConnectionError& error) {
        return error.reason;
    } catch (const std::out_of_range&) {
        return {FailureCause::Configuration, 0, "invalid configuration"};
    } catch (const std::bad_alloc&) {
        return {FailureCause::Memory, 0, "out of memory"};
    } catch (...) {
        return {FailureCause::Caller, 0, "unexpected exception"}; // of the host's log
    }
}

FailureCause causeOfSocketError(int code) noexcept {
    switch (code) {
    case WSA_NOT_ENOUGH_MEMORY:
    case WSAENOBUFS:
        return FailureCause::Memory;
    case WSAEFAULT:
    case WSAEINVAL:
    case WSAEWOULDBLOCK:
    case WSAEINPROGRESS:
    case WSAEALREADY:
    case WSAENOTSOCK:
    case WSAEOPNOTSUPP:
    case WSAEAFNOSUPPORT:
    case WSAEISCONN:
        return FailureCause::Caller;
    default:
        return FailureCause::Transport;
    }
}

FailureReason outcomeOf(bool succeeded, const char* text) noexcept {
    if (succeeded) {
        return {};
    }
    const int code = platform::WSAGetLastError();
    return {causeOfSocketError(code), code, text};
}

ConnectionFailure describe(const FailureReason& reason) {
    ConnectionFailure failure;
    if (reason.cause == FailureCause::None) {
        return failure;
    }
    failure.cause = reason.cause;
    failure.status = reason.status;
    failure.text = convertNarrowToWide(reason.text);
    if (reason.status != 0) {
        const std::wstring systemText = systemErrorText(static_cast<DWORD>(reason.status));
        failure.text += systemText.empty() ? L"" : L": " + systemText;
        failure.text.erase(failure.text.find_last_not_of(L' ') + 1);
    }
    return failure;
}

} // namespace VexaSsl
