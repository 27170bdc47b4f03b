// The consequences of failing calls of the security package.
#include "faults/FailingCall.h"

#include "platform/contract/WindowsBase.h"

#include <algorithm>
#include <array>

namespace VexaSsl::test {

Consequence FailingCall::ofPackage() const {
    switch (call.call) {
    case Call::AcquireCredentialsHandleW: {
        Lines lines = {failed(L"AcquireCredentialsHandle", failure.result)};
        if (failure.result == SEC_E_UNKNOWN_CREDENTIALS) {
            std::array<wchar_t, 257> user{};
            DWORD size = user.size();
            platform::GetUserNameW(user.data(), &size);
            lines.push_back(
                info(L"AcquireCredentialsHandle failed with [SEC_E_UNKNOWN_CREDENTIALS]. Probable "
                     L"cause: user [" +
                     std::wstring(user.data()) +
                     L"] requires read access to the certificate private key."));
        }
        return handshakeFails(std::move(lines), L"aquire credentials failed");
    }
    case Call::InitializeSecurityContextW:
        return ofHandshakeStep(L"InitializeSecurityContext");
    case Call::AcceptSecurityContext:
        return ofHandshakeStep(L"AcceptSecurityContext");
    case Call::QueryContextAttributesW:
        return ofAttribute();
    case Call::EncryptMessage:
        return ends(-1, untouchedError, {failed(L"EncryptMessage", failure.result)});
    case Call::DecryptMessage:
        return ofDecryption();
    default: // EnumerateSecurityPackagesW is called once per process, not per connection
        return {};
    }
}

Consequence FailingCall::ofHandshakeStep(const std::wstring& name) const {
    const bool isClient = call.call == Call::InitializeSecurityContextW;
    const auto status = static_cast<DWORD>(failure.result);
    const bool lacksCredentials = failure.result == SEC_I_INCOMPLETE_CREDENTIALS;
    if (lacksCredentials || failure.result == SEC_E_INCOMPLETE_MESSAGE) {
        Lines lines = {debug(name + L" succeeded with: " + std::to_wstring(failure.result) + L" (" +
                             systemText(status) + L")")};
        if (isClient && lacksCredentials) {
            lines.push_back(error(
                L"InitializeSecurityContext returned [SEC_I_INCOMPLETE_CREDENTIALS]. Probable "
                L"causes: The server is configured to require client authentication \t\t\tbut "
                L"rejected the certificate we sent, or, the server is not configured to use "
                L"encryption"));
            return handshakeFails(std::move(lines), L"incomplete credentials");
        }
        // Without a missing count, 0 bytes are requested, and the result looks like the end of the
        // stream.
        return handshakeFails(lines + encryptionLayer(L"recv") +
                                  Lines{warning(L"Connection closed (during negotiation)")},
                              L"Connection closed");
    }
    Lines lines = {failed(name, status)};
    if (isClient && failure.result == SEC_E_WRONG_PRINCIPAL) {
        lines.push_back(
            info(L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable cause: "
                 L"None of the names on the certificate that the server supplied to us match the "
                 L"address we connected to [localhost]"));
        lines.push_back(info(L"It is not possible to report the names on the certificate."));
    }
    lines.push_back(warning(L"An encrypted connection could not be successfully initialised on "
                            L"socket [S]. Aborting"));
    return handshakeFails(std::move(lines), name + L" failed");
}

Consequence FailingCall::ofAttribute() const {
    const LogLine line = failed(L"QueryContextAttributes", failure.result);
    if (call.detail == Detail::sizes) {
        return handshakeFails({line}, L"::QueryContextAttributes failed");
    }
    if (failure.afterwards) {
        return continues({line}); // the pointer holds the certificate
    }
    const bool sentNone = failure.result == SEC_E_NO_CREDENTIALS;
    const LogLine none =
        warning(L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) returned "
                L"[SEC_E_NO_CREDENTIALS]. Probable cause: no certificate was sent");
    return handshakeFails({sentNone ? none : line,
                           error(L"Unable to obtain a certificate to authenticate the client by. "
                                 L"Terminating connection")},
                          L"client authentication failed: can't get client cert");
}

Consequence FailingCall::ofDecryption() const {
    Consequence found = ofFailedDecryption();
    if (failure.result == SEC_I_RENEGOTIATE) {
        found.lines.insert(found.lines.begin(), info(L"Renegotiate request received"));
    } else if (failure.result != SEC_E_INVALID_TOKEN) { // the only status without a line
        found.lines.insert(found.lines.begin(), failed(L"DecryptMessage", failure.result));
    }
    return found;
}

Consequence FailingCall::ofFailedDecryption() const {
    const bool endsStream =
        failure.result == SEC_I_CONTEXT_EXPIRED || failure.result == SEC_I_RENEGOTIATE;
    if (kind == Kind::select) {
        return ends(-1, untouchedError); // without a breakpoint
    }
    if (kind == Kind::completeReceive) {
        Consequence found =
            endsStream ? ends(-1, WSAECONNRESET) : ends(failure.result, untouchedError);
        found.lines = {warning(L"::WSARecv completed asynchronously, but there were too few bytes "
                               L"transferred [0] to decrypt even a single crypto message")};
        ++found.breakpoints;
        return found;
    }
    // The held ciphertext is discarded. A receive that has read from the network continues with the
    // next bytes unless the stream has ended, here with the peer's end.
    const bool hasRead =
        std::any_of(base.calls.begin() + static_cast<std::ptrdiff_t>(base.outcomes[step].firstCall),
                    base.calls.begin() + static_cast<std::ptrdiff_t>(position),
                    [](const SeenCall& seen) { return seen.call == Call::recv; });
    Consequence found = ends(0, untouchedError);
    found.lines = hasRead && !endsStream ? encryptionLayer(L"recv") : Lines{};
    ++found.breakpoints;
    return found;
}

} // namespace VexaSsl::test
