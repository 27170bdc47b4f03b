#include "faults/FailingCall.h"

namespace VexaSsl::test {

Consequence FailingCall::consequence() const {
    switch (call.call) {
    case Call::send:
    case Call::recv:
    case Call::connect:
    case Call::accept:
    case Call::select:
    case Call::getaddrinfo:
    case Call::GetAddrInfoW:
    case Call::AcceptEx:
    case Call::WSAAccept:
    case Call::WSASend:
    case Call::WSARecv:
    case Call::WSAConnect:
    case Call::shutdown:
    case Call::GetNameInfoW:
        return ofTransport();
    case Call::EnumerateSecurityPackagesW:
    case Call::AcquireCredentialsHandleW:
    case Call::InitializeSecurityContextW:
    case Call::AcceptSecurityContext:
    case Call::QueryContextAttributesW:
    case Call::EncryptMessage:
    case Call::DecryptMessage:
        return ofPackage();
    case Call::CertOpenStore:
    case Call::CertCloseStore:
    case Call::CertFindCertificateInStore:
    case Call::CertCompareCertificate:
    case Call::CertGetCertificateChain:
    case Call::CertVerifyCertificateChainPolicy:
    case Call::CertGetNameStringW:
        return ofCertificates();
    case Call::MultiByteToWideChar:
    case Call::FormatMessageW:
    case Call::GetComputerNameExW:
    case Call::GetUserNameW:
    case Call::openTextFile:
        return ofBase();
    }
    return {};
}

int FailingCall::breakpointsBefore() const {
    const bool stops = kind == Kind::receive || kind == Kind::completeReceive;
    const auto spoiled = std::ranges::count_if(callsBefore(), [](const SeenCall& seen) {
        return seen.call == Call::DecryptMessage && seen.result != SEC_E_OK &&
               seen.result != SEC_E_INCOMPLETE_MESSAGE;
    });
    return stops ? static_cast<int>(spoiled) : 0;
}

// --- Sockets.

Consequence FailingCall::ofTransport() const {
    switch (call.call) {
    case Call::send:
        return ofSend();
    case Call::recv:
        return ofReceive();
    case Call::select:
        // A failed poll while receiving counts as readable; the following read reports the failure.
        return kind == Kind::select ? returnsFailure(-1) : continues();
    case Call::getaddrinfo:
    case Call::GetAddrInfoW:
        return returnsFailure(failure.result);
    case Call::AcceptEx:
        return returnsFailure(FALSE);
    case Call::shutdown:
        return continues({debug(L"::shutdown failed with " + withText(failure.error))});
    case Call::GetNameInfoW:
        // Only -1 is logged, although the call reports failures as positive numbers.
        return continues(failure.result == -1 ? Lines{failed(L"GetNameInfoW", failure.error)}
                                              : Lines{});
    default:
        return returnsFailure(-1);
    }
}

Consequence FailingCall::ofSend() const {
    if (failure.result == 0) { // the same bytes are offered again
        return inClear() ? ends(0, untouchedError) : continues(encryptionLayer(L"send"));
    }
    if (inHandshake()) {
        return handshakeFails({failed(L"::send (during negotiation)", failure.error)},
                              L"can't send");
    }
    return returnsFailure(-1);
}

Consequence FailingCall::ofReceive() const {
    if (inHandshake()) {
        return failure.result == 0
                   ? handshakeFails({warning(L"Connection closed (during negotiation)")},
                                    L"Connection closed")
                   : handshakeFails({failed(L"::recv (during negotiation)", failure.error)},
                                    L"can't recv");
    }
    if (failure.result == 0) {
        return call.result == 0 ? continues() : ends(0, untouchedError);
    }
    return returnsFailure(-1); // the bytes that this call delivered before are lost
}

// --- The system's base.

Consequence FailingCall::ofBase() const {
    switch (call.call) {
    case Call::MultiByteToWideChar:
        return ofWideText();
    case Call::FormatMessageW:
        return ofErrorText();
    case Call::GetComputerNameExW: // an empty name is searched for
        return handshakeFails(
            {failed(L"CertFindCertificateInStore (by name)", CRYPT_E_NOT_FOUND),
             info(L"Name searched for: []"),
             error(L"Tried to find a default certificate, but none were suitable")},
            L"no default certificate");
    case Call::GetUserNameW:
        return ofUserName();
    default: // openTextFile
        return ends(0, anyError,
                    {warning(L"Can't open config file"), warning(L"Reverting to NO ENCRYPTION")});
    }
}

// A host name becomes empty; the text of an exception is reduced to its prefix.
Consequence FailingCall::ofWideText() const {
    if (kind == Kind::resolve) {
        const bool isServiceName = base.calls[position - 1].call == Call::MultiByteToWideChar;
        if (isServiceName) {
            return continues();
        }
        Consequence found{.lines = {error(L"No remote hostname has been supplied. Server "
                                          L"authentication will be impossible. Aborting "
                                          L"connection attempt")},
                          .end = Consequence::End::inHandshake};
        found.error = scenario.upgrades ? untouchedError : WSAEINVAL;
        return found;
    }
    return continues({kind == Kind::configure ? warning(L"") : error(noContext)}, 1);
}

// The next line lacks the text in its brackets.
Consequence FailingCall::ofErrorText() const {
    LogLine line = nextLine();
    const std::size_t start = line.text.rfind(L" (") + 2;
    const std::size_t end = line.text.find(L')', start);
    line.text.erase(start, end - start);
    return continues({line}, 1);
}

// Logged before the two lines about the credentials, of which the second then has no user name.
Consequence FailingCall::ofUserName() const {
    LogLine cause = nextLine(1);
    const std::size_t start = cause.text.find(L"user [") + 6;
    cause.text.erase(start, cause.text.find(L']', start) - start);
    return continues({failed(L"GetUserName", failure.error), nextLine(), cause}, 2);
}

} // namespace VexaSsl::test
