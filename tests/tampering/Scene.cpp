#include "tampering/Scene.h"

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

std::string Casting::describe() const {
    return std::string(asServer ? "server, " : "client, ") + (suite.empty() ? "any suite" : suite) +
           (mutual ? ", mutual" : "") + (upgraded ? ", upgraded" : "") +
           (overlapped ? ", AcceptEx" : "");
}

namespace {

Settings settingsOf(const Casting& casting) {
    Settings settings =
        casting.upgraded
            ? Settings::plain().with("UseEncryption", "Opportunistically").named(L"Upgradable")
            : Settings::encrypted();
    if (casting.asServer) {
        settings = settings.with("ServerCertificateToSendName",
                                 casting.elliptic() ? pki::localhostElliptic : pki::localhost);
        return casting.mutual ? settings.with("RequireClientAuthentication", "True") : settings;
    }
    return casting.mutual ? settings.with("ClientCertificateToSendName",
                                          casting.elliptic() ? pki::client : pki::clientRsa)
                          : settings;
}

// Read once a casting: thousands of connections share it.
const IConfig& configurationOf(const Casting& casting) {
    static SharedLog log;
    static std::map<std::string, std::unique_ptr<IConfig>> loaded;
    std::unique_ptr<IConfig>& config = loaded[casting.describe()];
    if (!config) {
        config = settingsOf(casting).load(log);
    }
    return *config;
}

} // namespace

Scene::Scene(const Casting& cast, const Tampering& what)
    : counterpart(cast), casting(cast), tampering(what) {
    wire.turn = [this](const Bytes& received) { return runHandshake(received); };
    wire.resetBehindSent = tampering.cutBehindSent;
    if (tampering.farewell == Farewell::silence) {
        wire.receiveMilliseconds = shortPatience;
    }
    const IConfig& config = configurationOf(casting);
    std::unique_ptr<SecureSocketStrategy> made;
    if (casting.upgraded) {
        made = std::make_unique<SometimesSecureSocketStrategy>(log, config, wire.strategy(log));
    } else {
        made = std::make_unique<SecureSocketStrategy>(log, config, wire.strategy(log));
    }
    secure = made.get();
    strategy = std::move(made);
    platform::WSASetLastError(0);
    isEstablished = (casting.asServer ? accept() : connect()) &&
                    (!casting.upgraded || (resolve() && startOtls()));
    error = platform::WSAGetLastError();
    wire.resetBehindSent.reset();
    if (isEstablished) {
        runHandshake(wire.collect()); // the last flight of a server, for which it awaits no answer
    }
}

bool Scene::resolve() {
    addrinfo* found = nullptr;
    const int result = strategy->getaddrinfo("localhost", nullptr, nullptr, &found);
    platform::freeaddrinfo(found);
    return result == 0;
}

bool Scene::connect() {
    const sockaddr_in address = wire.address();
    return resolve() &&
           strategy->connect(wire.makeCaller(), reinterpret_cast<const sockaddr*>(&address),
                             sizeof address) == 0;
}

bool Scene::accept() {
    if (casting.overlapped) {
        return acceptOverlapped();
    }
    wire.callIn();
    return strategy->accept(wire.listener(), nullptr, nullptr) != INVALID_SOCKET;
}

bool Scene::acceptOverlapped() {
    constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;
    std::array<char, 2 * std::size_t{addressSize}> addresses{};
    const SOCKET accepting = wire.makeCaller();
    wire.callIn();
    Overlapped waiting;
    DWORD received = 0;
    const BOOL done = strategy->AcceptEx(wire.listener(), accepting, addresses.data(), 0,
                                         addressSize, addressSize, &received, waiting.get());
    const bool pending = done == FALSE && platform::WSAGetLastError() == WSA_IO_PENDING;
    if (done == FALSE && !(pending && waiting.wait(wire.listener(), received))) {
        return false;
    }
    joinListener(accepting, wire.listener());
    wire.limitStackEnd(); // the connection has taken the place of the socket
    return strategy->completeAcceptEx() == 0;
}

bool Scene::startOtls() {
    return dynamic_cast<IOtlsProvider&>(*strategy).startOtls() == 0;
}

Move Scene::runHandshake(const Bytes& received) {
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

// Changes the byte to flip if it is among these, which follow those before.
void Scene::change(Bytes& bytes, const Bytes& before, bool fromStack) {
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

Move Scene::cut(const Bytes& bytes) {
    const std::optional<std::size_t>& place = tampering.cutBehind;
    if (!place || *place >= toStackSoFar.size() + bytes.size()) {
        return {.bytes = bytes};
    }
    wasCut = true;
    return {.bytes = part(bytes, 0, *place - toStackSoFar.size()), .farewell = tampering.farewell};
}

Agreement Scene::agreement() {
    Agreement agreed =
        agreementOf(secure->securedConnection()->securityContext.address(), casting.asServer);
    if (casting.asServer) {
        agreed.serverCertificate = certificateOf(casting.serverCase());
    } else if (casting.mutual) {
        agreed.clientCertificate = certificateOf(casting.clientCase());
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

void Scene::deliver(const std::vector<Bytes>& next, Farewell behind) {
    chunks.assign(next.begin(), next.end());
    std::erase(chunks, Bytes());
    end = behind;
    wire.turn = [this](const Bytes&) -> Move {
        if (chunks.empty()) {
            return {.farewell = end};
        }
        Bytes chunk = std::move(chunks.front());
        chunks.pop_front();
        return {.bytes = std::move(chunk)};
    };
}

int Scene::send(const std::string& text) {
    return strategy->send(socket(), text.data(), static_cast<int>(text.size()), 0);
}

LogLine failedCall(const std::wstring& call, DWORD code) {
    return {Severity::Error, call + L" failed with: " + std::to_wstring(code) + L" (" +
                                 systemErrorText(code) + L")"};
}

} // namespace VexaSsl::test
