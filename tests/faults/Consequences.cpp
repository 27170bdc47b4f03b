#include "faults/Consequences.h"

#include "faults/Steps.h"

#include "integration/support/LogMatchers.h"
#include "platform/WindowsBase.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <sstream>

namespace VexaSsl::test {

namespace {

using Lines = std::vector<LogLine>;

// What a failing call leads to.
struct Consequence {
    std::size_t replaced = 0; // so many lines of the base go, and these come in their place
    Lines lines = {};
    // Where the run ends: nowhere, in the step of the call, or in the handshake that comes later.
    enum class End { none, here, inHandshake } end = End::none;
    std::int64_t result = -1;
    int error = untouchedError;
    int breakpoints = 0;
    std::string thrown = {};
};

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

std::wstring systemText(DWORD code) {
    wchar_t* text = nullptr;
    constexpr DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                            FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    platform::FormatMessageW(flags, nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0,
                             nullptr);
    const std::wstring copy = text == nullptr ? std::wstring() : std::wstring(text);
    platform::LocalFree(text);
    return copy;
}

std::wstring withText(DWORD code) {
    return std::to_wstring(code) + L" (" + systemText(code) + L")";
}

// The line of a failed call of the system.
LogLine failed(const std::wstring& what, DWORD code) {
    return error(what + L" failed with: " + withText(code));
}

LogLine failed(const std::wstring& what, std::int64_t status) {
    return failed(what, static_cast<DWORD>(status));
}

const LogLine storeClosed = debug(L"Closed Cert Store");
const std::wstring noContext = L"Can't establish a security context. ";

// One failing call in its run.
class Case {
public:
    Case(const Scenario& played, const Course& baseCourse, std::size_t place, const Failure& given)
        : scenario(played), base(baseCourse), position(place), call(base.calls[place]),
          failure(given) {
        const auto later = std::ranges::find_if(base.outcomes, [&](const StepOutcome& outcome) {
            return outcome.firstCall > position;
        });
        step = static_cast<std::size_t>(later - base.outcomes.begin()) - 1;
        kind = base.outcomes[step].kind;
    }

    Consequence consequence() const;
    Expectation expectation(const Consequence& found) const;

private:
    Consequence ofTransport() const;
    Consequence ofPackage() const;
    Consequence ofCertificates() const;
    Consequence ofBase() const;

    Consequence ofSend() const;
    Consequence ofReceive() const;
    Consequence ofHandshakeStep(const std::wstring& name) const;
    Consequence ofAttribute() const;
    Consequence ofDecryption() const;
    Consequence ofSpoiledReceive() const;
    Consequence ofSearch() const;
    Consequence ofName() const;
    Consequence ofRejectedChain(const Lines& why) const;
    Lines linesOfVerdict() const;
    Consequence ofNarrowText() const;
    Consequence ofMissingText() const;
    Consequence ofUserName() const;
    Consequence ofClosing() const;

    bool inHandshake() const { return scenario.isHandshake(kind); }
    // A connection whose traffic isn't protected yet.
    bool inClear() const {
        return scenario.upgrades &&
               std::ranges::none_of(
                   base.outcomes.begin(),
                   base.outcomes.begin() + static_cast<std::ptrdiff_t>(step) + 1,
                   [&](const StepOutcome& outcome) { return scenario.isHandshake(outcome.kind); });
    }

    Consequence goesOn(Lines lines = {}, std::size_t replaced = 0) const {
        return {.replaced = replaced, .lines = std::move(lines)};
    }
    Consequence ends(std::int64_t result, int lastError, Lines lines = {}) const {
        return {.lines = std::move(lines),
                .end = Consequence::End::here,
                .result = result,
                .error = lastError};
    }
    // The failure of the call below is the host's.
    Consequence passesOn(std::int64_t result) const {
        return ends(result, static_cast<int>(failure.error));
    }
    // A handshake that fails: the store, if it is open by then, is closed on the way out.
    Consequence handshakeFails(Lines lines, const std::wstring& text,
                               bool storeIsOpen = true) const {
        if (storeIsOpen) {
            lines.push_back(storeClosed);
        }
        lines.push_back(error(noContext + text));
        return ends(-1, kind == Kind::startTls ? anyError : WSAECONNABORTED, std::move(lines));
    }
    // With log layers one more read or write shows.
    Lines encryptionLayer(const std::wstring& verb) const {
        return scenario.hasLogLayers ? Lines{debug(L"Encryption Layer using socket [S] to " + verb +
                                                   L" [N] byte message")}
                                     : Lines{};
    }
    const LogLine& nextLine(std::size_t further = 0) const {
        return base.lines.at(call.lines + further);
    }

    friend Expectation test::expectedWithoutMemory(const Scenario&, const Course&,
                                                   const SeenAllocation&);

    const Scenario& scenario;
    const Course& base;
    const std::size_t position;
    const SeenCall& call;
    const Failure& failure;
    std::size_t step = 0;
    Kind kind = Kind::build;
};

Consequence Case::consequence() const {
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

// --- Sockets.

Consequence Case::ofTransport() const {
    switch (call.call) {
    case Call::send:
        return ofSend();
    case Call::recv:
        return ofReceive();
    case Call::select:
        // While receiving, a failed look for more counts as more: the read that follows tells.
        return kind == Kind::select ? passesOn(-1) : goesOn();
    case Call::getaddrinfo:
    case Call::GetAddrInfoW:
        return passesOn(failure.result);
    case Call::AcceptEx:
        return passesOn(FALSE);
    case Call::shutdown:
        return goesOn({debug(L"::shutdown failed with " + withText(failure.error))});
    case Call::GetNameInfoW:
        // Only -1 is told; the call itself reports its failures as positive numbers.
        return goesOn(failure.result == -1 ? Lines{failed(L"GetNameInfoW", failure.error)}
                                           : Lines{});
    default:
        return passesOn(-1);
    }
}

Consequence Case::ofSend() const {
    if (failure.result == 0) { // the same bytes are offered again
        return inClear() ? ends(0, untouchedError) : goesOn(encryptionLayer(L"send"));
    }
    if (inHandshake()) {
        return handshakeFails({failed(L"::send (during negotiation)", failure.error)},
                              L"can't send");
    }
    return passesOn(-1);
}

Consequence Case::ofReceive() const {
    if (inHandshake()) {
        return failure.result == 0
                   ? handshakeFails({warning(L"Connection closed (during negotiation)")},
                                    L"Connection closed")
                   : handshakeFails({failed(L"::recv (during negotiation)", failure.error)},
                                    L"can't recv");
    }
    if (failure.result == 0) {
        return call.result == 0 ? goesOn() : ends(0, untouchedError);
    }
    return passesOn(-1); // what this call had delivered by then is lost
}

// --- The security package.

Consequence Case::ofPackage() const {
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
    default: // EnumerateSecurityPackagesW is no part of a connection: one check serves all
        return {};
    }
}

Consequence Case::ofHandshakeStep(const std::wstring& name) const {
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
        // No number of missing bytes: 0 bytes are asked for, and that looks like the end, if only
        // when the system has waited for a first byte in vain.
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

Consequence Case::ofAttribute() const {
    const LogLine line = failed(L"QueryContextAttributes", failure.result);
    if (call.detail == Detail::sizes) {
        return handshakeFails({line}, L"::QueryContextAttributes failed");
    }
    if (failure.afterwards) {
        return goesOn({line}); // what stands in the pointer is the certificate
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

Consequence Case::ofDecryption() const {
    Consequence found = ofSpoiledReceive();
    if (failure.result == SEC_I_RENEGOTIATE) {
        found.lines.insert(found.lines.begin(), info(L"Renegotiate request received"));
    } else if (failure.result != SEC_E_INVALID_TOKEN) { // the one without a line
        found.lines.insert(found.lines.begin(), failed(L"DecryptMessage", failure.result));
    }
    return found;
}

Consequence Case::ofSpoiledReceive() const {
    const bool endsStream =
        failure.result == SEC_I_CONTEXT_EXPIRED || failure.result == SEC_I_RENEGOTIATE;
    if (kind == Kind::select) {
        return ends(-1, untouchedError); // and no breakpoint
    }
    if (kind == Kind::completeReceive) {
        Consequence found =
            endsStream ? ends(-1, WSAECONNRESET) : ends(failure.result, untouchedError);
        found.lines = {warning(L"::WSARecv completed asynchronously, but there were too few bytes "
                               L"transferred [0] to decrypt even a single crypto message")};
        found.breakpoints = 1;
        return found;
    }
    // The ciphertext in hand is gone. A receive that has read from the network goes on with the
    // next bytes unless the stream has ended: here the peer's end.
    const bool hasRead =
        std::any_of(base.calls.begin() + static_cast<std::ptrdiff_t>(base.outcomes[step].firstCall),
                    base.calls.begin() + static_cast<std::ptrdiff_t>(position),
                    [](const SeenCall& seen) { return seen.call == Call::recv; });
    Consequence found = ends(0, untouchedError);
    found.lines = hasRead && !endsStream ? encryptionLayer(L"recv") : Lines{};
    found.breakpoints = 1;
    return found;
}

// --- Certificates.

Consequence Case::ofCertificates() const {
    switch (call.call) {
    case Call::CertOpenStore:
        return handshakeFails({failed(L"CertOpenStore", failure.error)},
                              std::to_wstring(failure.error), false);
    case Call::CertCloseStore:
        return ofClosing();
    case Call::CertFindCertificateInStore:
        return ofSearch();
    case Call::CertCompareCertificate:
        return handshakeFails(
            {error(L"Tried to find a default certificate, but none were suitable")},
            L"no default certificate");
    case Call::CertGetCertificateChain: {
        // Always with the number 0; the policy then has nothing to judge.
        const DWORD none = 0;
        return ofRejectedChain(Lines{failed(L"CertGetCertificateChain", none)} + linesOfVerdict());
    }
    case Call::CertVerifyCertificateChainPolicy:
        return ofRejectedChain(linesOfVerdict());
    default:
        return ofName();
    }
}

Consequence Case::ofClosing() const {
    const LogLine told =
        failure.error == CRYPT_E_PENDING_CLOSE
            ? warning(L"On calling CertCloseStore, not all certs or contexts were previously "
                      L"freed. Memory has been leaked.")
            : failed(L"CertCloseStore", failure.error);
    return goesOn({storeClosed, told}, 1);
}

Consequence Case::ofSearch() const {
    if (call.detail == Detail::further) {
        return goesOn(); // the walk ends, here with what is needed
    }
    const bool byName = call.detail == Detail::byName;
    const std::wstring purpose = scenario.serves ? L"Server" : L"Client";
    const std::wstring machine = L"machine.integration.test";
    const bool isDefault = scenario.certificate == Certificate::any;
    const std::wstring name = isDefault ? machine : scenario.searchedName;
    Lines lines = {failed(byName ? L"CertFindCertificateInStore (by name)"
                                 : L"CertFindCertificateInStore (by extended key usage)",
                          failure.error),
                   info(byName ? L"Name searched for: [" + name + L"]"
                               : L"EKU searched for: [" + purpose + L" Authentication]")};
    if (isDefault) {
        lines.push_back(error(L"Tried to find a default certificate, but none were suitable"));
        return handshakeFails(std::move(lines), L"no default certificate");
    }
    lines.push_back(error(L"Was not able to find a certificate with the name [" + name + L"]"));
    return handshakeFails(std::move(lines), L"no available certificate");
}

Lines Case::linesOfVerdict() const {
    if (call.call == Call::CertGetCertificateChain || failure.result == FALSE) {
        return {
            warning(L"CertVerifyCertificateChainPolicy was unable to check the certificate chain"),
            info(L"GetLastError returned: " + withText(0) +
                 L", which is not documented to be useful, but not documented to not be "
                 L"useful")};
    }
    const bool judgesServer = scenario.serves && scenario.certificate == Certificate::any;
    const std::wstring purpose = judgesServer ? L"server" : L"client";
    const std::wstring name = judgesServer ? L"machine.integration.test" : L"client.test";
    std::wstring place =
        L"This error applies to the certificate with the friendly name [" + name + L"]";
    if (failure.elementIndex == -1) {
        place = failure.chainIndex == -1
                    ? L"This error applies to the entire certificate chain"
                    : L"This error applies to the complete simple chain begining at the "
                      L"certificate with the friendly name [" +
                          name + L"]";
    }
    return {
        warning(L"CertVerifyCertificateChainPolicy returned status: " + withText(failure.verdict)),
        info(L"The certificate chain is not trusted for " + purpose + L" authentication"),
        info(L"The following information is not complete, but provided as a starting point. "
             L"Please inspect the certificate chain through the Microsoft Management Console"),
        info(place)};
}

Consequence Case::ofRejectedChain(const Lines& why) const {
    if (scenario.certificate == Certificate::any) {
        return handshakeFails(
            why + Lines{error(L"Tried to find a default certificate, but none were suitable")},
            L"no default certificate");
    }
    return handshakeFails(
        why + Lines{error(L"The certificate provided by the client is not trusted. Terminating "
                          L"connection")},
        L"client authentication failed: cert not trusted");
}

Consequence Case::ofName() const {
    const Lines none =
        call.detail == Detail::sizing
            ? Lines{warning(L"CertGetNameStringW could not find any names on the certificate")}
            : Lines{};
    if (scenario.certificate == Certificate::any) {
        return goesOn(none + Lines{info(L"All names on this certificate: ")}, 1);
    }
    return handshakeFails(
        none + Lines{info(L"All names on this certificate: [client.test] "),
                     info(L"The names we would accept are: [client.test]"),
                     error(L"The certificate provided by the client is trusted, but not "
                           L"acceptable. Terminating connection")},
        L"client authentication failed: cert not acceptable");
}

// --- The system's base.

Consequence Case::ofBase() const {
    switch (call.call) {
    case Call::MultiByteToWideChar:
        return ofNarrowText();
    case Call::FormatMessageW:
        return ofMissingText();
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

// A host name becomes an empty one; of an exception only the prefix is left.
Consequence Case::ofNarrowText() const {
    if (kind == Kind::resolve) {
        const bool isServiceName = base.calls[position - 1].call == Call::MultiByteToWideChar;
        if (isServiceName) {
            return goesOn();
        }
        Consequence found{.lines = {error(L"No remote hostname has been supplied. Server "
                                          L"authentication will be impossible. Aborting "
                                          L"connection attempt")},
                          .end = Consequence::End::inHandshake};
        found.error = scenario.upgrades ? untouchedError : WSAEINVAL;
        return found;
    }
    return goesOn({error(noContext)}, 1);
}

// The next line lacks what would stand in its brackets.
Consequence Case::ofMissingText() const {
    LogLine line = nextLine();
    const std::size_t start = line.text.rfind(L" (") + 2;
    const std::size_t end = line.text.find(L')', start);
    line.text.erase(start, end - start);
    return goesOn({line}, 1);
}

// Told in front of the two lines about the credentials, of which the second then names nobody.
Consequence Case::ofUserName() const {
    LogLine cause = nextLine(1);
    const std::size_t start = cause.text.find(L"user [") + 6;
    cause.text.erase(start, cause.text.find(L']', start) - start);
    return goesOn({failed(L"GetUserName", failure.error), nextLine(), cause}, 2);
}

// --- From the consequence to the whole run.

// A success may leave any last error, and so may what else is done behind a failure.
void forgetErrors(std::vector<StepOutcome>& outcomes) {
    for (StepOutcome& outcome : outcomes) {
        outcome.error = anyError;
    }
}

Expectation Case::expectation(const Consequence& found) const {
    const auto from = [](const auto& list, std::size_t start) {
        return list.begin() + static_cast<std::ptrdiff_t>(std::min(start, list.size()));
    };
    Expectation expected;
    if (found.end == Consequence::End::none) {
        expected.lines.assign(base.lines.begin(), from(base.lines, call.lines));
        std::ranges::copy(found.lines, std::back_inserter(expected.lines));
        expected.lines.insert(expected.lines.end(), from(base.lines, call.lines + found.replaced),
                              base.lines.end());
        expected.outcomes = base.outcomes;
        forgetErrors(expected.outcomes);
        return expected;
    }
    std::size_t last = step;
    std::size_t linesBefore = call.lines;
    if (found.end == Consequence::End::inHandshake) {
        while (!scenario.isHandshake(base.outcomes[last].kind)) {
            ++last;
        }
        linesBefore = base.outcomes[last].firstLine;
    }
    expected.lines.assign(base.lines.begin(), from(base.lines, linesBefore));
    std::ranges::copy(found.lines, std::back_inserter(expected.lines));
    expected.outcomes.assign(base.outcomes.begin(), from(base.outcomes, last));
    forgetErrors(expected.outcomes);
    expected.outcomes.push_back({.kind = base.outcomes[last].kind,
                                 .result = found.result,
                                 .error = found.error,
                                 .breakpoints = found.breakpoints,
                                 .thrown = found.thrown});
    expected.outcomes.push_back({.kind = Kind::release, .error = anyError});
    const bool isSecured = std::ranges::any_of(
        base.outcomes.begin(), from(base.outcomes, last),
        [&](const StepOutcome& outcome) { return scenario.isHandshake(outcome.kind); });
    if (isSecured) {
        expected.lines.push_back(storeClosed);
    }
    return expected;
}

std::string shown(const LogLine& line) {
    std::ostringstream text;
    text << line;
    return text.str();
}

std::string shown(const StepOutcome& outcome) {
    return "step of kind " + std::to_string(static_cast<int>(outcome.kind)) + " gives " +
           std::to_string(outcome.result) + " with " + std::to_string(outcome.error) + ", " +
           std::to_string(outcome.breakpoints) + " breakpoints " + outcome.thrown;
}

// A last error counts where an operation fails.
bool same(const StepOutcome& expected, const StepOutcome& given) {
    const bool errorCounts = expected.error != anyError;
    return expected.kind == given.kind && expected.result == given.result &&
           expected.breakpoints == given.breakpoints && expected.thrown == given.thrown &&
           (!errorCounts || expected.error == given.error);
}

} // namespace

Expectation expectedOf(const Scenario& played, const Course& base, std::size_t position,
                       const Failure& failure) {
    const Case one(played, base, position, failure);
    Expectation expected = one.expectation(one.consequence());
    return expected;
}

std::string difference(const Expectation& expected, const Course& course) {
    const std::size_t lines = std::max(expected.lines.size(), course.lines.size());
    for (std::size_t i = 0; i < lines; ++i) {
        const std::string wanted = i < expected.lines.size() ? shown(expected.lines[i]) : "nothing";
        const std::string got = i < course.lines.size() ? shown(course.lines[i]) : "nothing";
        if (wanted != got) {
            return "line " + std::to_string(i) + " is\n  " + got + "\ninstead of\n  " + wanted;
        }
    }
    for (std::size_t i = 0; i < std::max(expected.outcomes.size(), course.outcomes.size()); ++i) {
        if (i >= expected.outcomes.size() || i >= course.outcomes.size()) {
            return std::to_string(course.outcomes.size()) + " steps instead of " +
                   std::to_string(expected.outcomes.size());
        }
        if (!same(expected.outcomes[i], course.outcomes[i])) {
            return shown(course.outcomes[i]) + "\ninstead of\n  " + shown(expected.outcomes[i]);
        }
    }
    return course.trouble;
}

} // namespace VexaSsl::test
