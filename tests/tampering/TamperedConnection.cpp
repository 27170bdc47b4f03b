#include "tampering/TamperedConnection.h"

#include "VexaSsl/IOtlsProvider.h"
#include "frame/ErrorText.h"
#include "integration/support/Pki.h"
#include "integration/support/Settings.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/SecureSocketStrategy.h"
#include "strategies/SometimesSecureSocketStrategy.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace VexaSsl::test {

std::string ConnectionSetup::describe() const {
    return std::string(asServer ? "server, " : "client, ") + (suite.empty() ? "any suite" : suite) +
           (mutual ? ", mutual" : "") + (upgraded ? ", upgraded" : "") +
           (overlapped ? ", AcceptEx" : "");
}

namespace {

Settings settingsOf(const ConnectionSetup& setup) {
    Settings settings =
        setup.upgraded
            ? Settings::plain().with("UseEncryption", "Opportunistically").named(L"Upgradable")
            : Settings::encrypted();
    if (setup.asServer) {
        settings = settings.with("ServerCertificateToSendName",
                                 setup.elliptic() ? pki::localhostElliptic : pki::localhost);
        return setup.mutual ? settings.with("RequireClientAuthentication", "True") : settings;
    }
    return setup.mutual ? settings.with("ClientCertificateToSendName",
                                        setup.elliptic() ? pki::client : pki::clientRsa)
                        : settings;
}

// Read once per setup and shared by thousands of connections.
const IConfig& configurationOf(const ConnectionSetup& setup) {
    static SharedLog log;
    static std::map<std::string, std::unique_ptr<IConfig>> loaded;
    std::unique_ptr<IConfig>& config = loaded[setup.describe()];
    if (!config) {
        config = settingsOf(setup).load(log);
    }
    return *config;
}

} // namespace

TamperedConnection::TamperedConnection(const ConnectionSetup& connectionSetup,
                                       const Tampering& what)
    : counterpart(connectionSetup), setup(connectionSetup), tampering(what) {
    wire.turn = [this](const Bytes& received) { return runHandshake(received); };
    wire.resetAfterSent = tampering.resetAfterSent;
    if (tampering.ending == Ending::silence) {
        wire.receiveMilliseconds = shortTimeoutMilliseconds;
    }
    const IConfig& config = configurationOf(setup);
    std::unique_ptr<SecureSocketStrategy> made;
    if (setup.upgraded) {
        made = std::make_unique<SometimesSecureSocketStrategy>(log, config, wire.strategy(log));
    } else {
        made = std::make_unique<SecureSocketStrategy>(log, config, wire.strategy(log));
    }
    secure = made.get();
    strategy = std::move(made);
    platform::WSASetLastError(0);
    isEstablished =
        (setup.asServer ? accept() : connect()) && (!setup.upgraded || (resolve() && startOtls()));
    error = platform::WSAGetLastError();
    wire.resetAfterSent.reset();
    if (isEstablished) {
        runHandshake(wire.collect()); // a server's last flight, which isn't answered
    }
}

bool TamperedConnection::resolve() {
    addrinfo* found = nullptr;
    const int result = strategy->getaddrinfo("localhost", nullptr, nullptr, &found);
    platform::freeaddrinfo(found);
    return result == 0;
}

bool TamperedConnection::connect() {
    const sockaddr_in address = wire.address();
    return resolve() &&
           strategy->connect(wire.makeNearEnd(), reinterpret_cast<const sockaddr*>(&address),
                             sizeof address) == 0;
}

bool TamperedConnection::accept() {
    if (setup.overlapped) {
        return acceptOverlapped();
    }
    wire.connectFarEnd();
    return strategy->accept(wire.listener(), nullptr, nullptr) != INVALID_SOCKET;
}

bool TamperedConnection::acceptOverlapped() {
    constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;
    std::array<char, 2 * std::size_t{addressSize}> addresses{};
    const SOCKET accepting = wire.makeNearEnd();
    wire.connectFarEnd();
    Overlapped waiting;
    DWORD received = 0;
    const BOOL done = strategy->AcceptEx(wire.listener(), accepting, addresses.data(), 0,
                                         addressSize, addressSize, &received, waiting.get());
    const bool pending = done == FALSE && platform::WSAGetLastError() == WSA_IO_PENDING;
    if (done == FALSE && !(pending && waiting.wait(wire.listener(), received))) {
        return false;
    }
    joinListener(accepting, wire.listener());
    wire.limitStackEnd(); // the connection has replaced the socket
    return strategy->completeAcceptEx() == 0;
}

bool TamperedConnection::startOtls() {
    return dynamic_cast<IOtlsProvider&>(*strategy).startOtls() == 0;
}

Move TamperedConnection::runHandshake(const Bytes& received) {
    Bytes toCounterpart = received;
    change(toCounterpart, fromStackSoFar, true);
    fromStackSoFar = std::move(fromStackSoFar) + received;
    const Bytes answer = counterpart.step(toCounterpart);
    Bytes toStack = answer;
    change(toStack, toStackSoFar, false);
    Move move = cut(toStack);
    toStackSoFar = std::move(toStackSoFar) + answer;
    return move;
}

// Flips the chosen byte if it is in bytes, which follow before.
void TamperedConnection::change(Bytes& bytes, const Bytes& before, bool fromStack) {
    const std::optional<Flip>& flip = tampering.flip;
    if (!flip || flip->fromStack != fromStack || flip->at < before.size() ||
        flip->at - before.size() >= bytes.size()) {
        return;
    }
    flipPlace = flip->at - before.size();
    for (const std::size_t size : recordSizes(bytes)) {
        if (flipPlace < size) {
            break;
        }
        flipPlace -= size;
    }
    bytes[flip->at - before.size()] ^= flip->pattern;
    wasFlipped = true;
}

Move TamperedConnection::cut(const Bytes& bytes) {
    const std::optional<std::size_t>& place = tampering.cutAfter;
    if (!place || *place >= toStackSoFar.size() + bytes.size()) {
        return {.bytes = bytes};
    }
    wasCut = true;
    return {.bytes = part(bytes, 0, *place - toStackSoFar.size()), .ending = tampering.ending};
}

Agreement TamperedConnection::agreement() {
    Agreement agreed =
        agreementOf(secure->securedConnection()->securityContext.address(), setup.asServer);
    if (setup.asServer) {
        agreed.serverCertificate = certificateOf(setup.serverCase());
    } else if (setup.mutual) {
        agreed.clientCertificate = certificateOf(setup.clientCase());
    }
    return agreed;
}

Agreement agreementOf(CtxtHandle* context, bool ofServer) {
    Agreement agreed;
    SecPkgContext_CipherInfo info{};
    info.dwVersion = SECPKGCONTEXT_CIPHERINFO_V1;
    if (VexaSsl::platform::QueryContextAttributesW(context, SECPKG_ATTR_CIPHER_INFO, &info) ==
        SEC_E_OK) {
        agreed.version = info.dwProtocol;
        agreed.suite = info.dwCipherSuite;
    }
    PCCERT_CONTEXT shown = nullptr;
    VexaSsl::platform::QueryContextAttributesW(context, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &shown);
    if (shown != nullptr) {
        Bytes& place = ofServer ? agreed.clientCertificate : agreed.serverCertificate;
        place.assign(shown->pbCertEncoded, shown->pbCertEncoded + shown->cbCertEncoded);
        VexaSsl::platform::CertFreeCertificateContext(shown);
    }
    return agreed;
}

void TamperedConnection::deliver(const std::vector<Bytes>& next, Ending ending) {
    chunks.assign(next.begin(), next.end());
    std::erase(chunks, Bytes());
    lastEnding = ending;
    wire.turn = [this](const Bytes&) -> Move {
        if (chunks.empty()) {
            return {.ending = lastEnding};
        }
        Bytes chunk = std::move(chunks.front());
        chunks.pop_front();
        return {.bytes = std::move(chunk)};
    };
}

int TamperedConnection::send(const std::string& text) {
    return strategy->send(socket(), text.data(), static_cast<int>(text.size()), 0);
}

LogLine failedCall(const std::wstring& call, DWORD code) {
    return {Severity::Error, call + L" failed with: " + std::to_wstring(code) + L" (" +
                                 systemErrorText(code) + L")"};
}

} // namespace VexaSsl::test
