#include "explain/PeerChain.h"

#include "VexaSsl/VexaSsl.h"
#include "common/ExitStatus.h"
#include "common/SecurityFailure.h"
#include "common/Text.h"
#include "common/Watchdog.h"
#include "config/Vocabulary.h"
#include "frame/ErrorText.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/ContextBuffer.h"
#include "secure/CredentialHandle.h"
#include "secure/NegotiationBuffer.h"
#include "secure/NegotiationStep.h"
#include "secure/SecurityContext.h"
#include "starttls/OtlsSwitch.h"
#include "starttls/Protocols.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

namespace Values = ConfigurationDefinition::Values;

// Without ISC_REQ_USE_SUPPLIED_CREDS the package stops where the server asks for a certificate; the
// server's own has been received by then.
constexpr ULONG contextRequirements = ISC_REQ_STREAM | ISC_REQ_EXTENDED_ERROR |
                                      ISC_REQ_ALLOCATE_MEMORY | ISC_REQ_CONFIDENTIALITY |
                                      ISC_REQ_REPLAY_DETECT;

std::string statusText(SECURITY_STATUS status) {
    const auto code = static_cast<DWORD>(status);
    return std::to_string(code) + " (" + printableText(systemErrorText(code)) + ")" +
           handshakeFailureSuffix(code);
}

// Handshakes with it verify nothing, so nothing may be sent over them.
CredentialHandle acquireUnverifying() {
    SCHANNEL_CRED description{};
    description.dwVersion = SCHANNEL_CRED_VERSION;
    description.dwFlags = SCH_CRED_MANUAL_CRED_VALIDATION | SCH_CRED_NO_DEFAULT_CREDS;
    wchar_t package[] = L"Microsoft Unified Security Protocol Provider";
    CredHandle handle{};
    TimeStamp expiry{};
    const SECURITY_STATUS status =
        platform::AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND, nullptr,
                                            &description, nullptr, nullptr, &handle, &expiry);
    if (status != SEC_E_OK) {
        throw Failure(ExitStatus::Handshake,
                      "the system's security package refuses a client: " + statusText(status));
    }
    return CredentialHandle(handle);
}

// One handshake, until the peer's certificates are known.
class Probe {
public:
    Probe(ISocketStrategy& strategy, SOCKET socket, const std::string& name)
        : strategy(strategy), socket(socket), credential(acquireUnverifying()),
          target(wideName(name)) {}

    // Returns null, with the reason in end, when the peer sent none.
    CertificateHandle run() {
        step(nullptr, context.address());
        while (continues() && receive()) {
            step(input.description(), nullptr);
        }
        return peerCertificate();
    }

    std::string end; // why the handshake ended

private:
    void step(SecBufferDesc* received, CtxtHandle* created);
    bool continues();
    bool passToken();
    bool receive();
    CertificateHandle peerCertificate();

    ISocketStrategy& strategy;
    const SOCKET socket;
    CredentialHandle credential;
    SecurityContext context;
    std::wstring target;
    NegotiationBuffer buffer;
    BufferPair input;
    BufferPair output;
    SECURITY_STATUS status = SEC_E_OK;
};

void Probe::step(SecBufferDesc* received, CtxtHandle* created) {
    output.expectTokenAndAlert();
    ULONG attributes = 0;
    TimeStamp expiry{};
    status = platform::InitializeSecurityContextW(
        credential.address(), created != nullptr ? nullptr : context.address(), target.data(),
        contextRequirements, 0, SECURITY_NETWORK_DREP, received, 0, created, output.description(),
        &attributes, &expiry);
}

// Returns whether the handshake continues.
bool Probe::continues() {
    if (status == SEC_E_INCOMPLETE_MESSAGE) {
        expectMissingBytes(input, buffer);
        return true;
    }
    buffer.reset();
    if (status != SEC_I_CONTINUE_NEEDED && status != SEC_E_OK) {
        end = statusText(status);
        return false;
    }
    return passToken() && status == SEC_I_CONTINUE_NEEDED;
}

bool Probe::passToken() {
    const SecBuffer* token = output.find(SECBUFFER_TOKEN);
    if (token == nullptr || token->pvBuffer == nullptr) {
        return true;
    }
    const ContextBuffer<void> owner(token->pvBuffer);
    const char* bytes = static_cast<const char*>(token->pvBuffer);
    for (ULONG sent = 0; sent < token->cbBuffer;) {
        const int result =
            strategy.send(socket, bytes + sent, static_cast<int>(token->cbBuffer - sent), 0);
        if (result <= 0) {
            end = "the connection ended";
            return false;
        }
        sent += static_cast<ULONG>(result);
    }
    return true;
}

bool Probe::receive() {
    const DWORD size = buffer.hasMissing ? buffer.missing : buffer.capacity() - buffer.have;
    const int result =
        strategy.recv(socket, buffer.bytes.data() + buffer.have, static_cast<int>(size), 0);
    if (result <= 0) {
        end = "the peer closed the connection";
        return false;
    }
    buffer.have += static_cast<DWORD>(result);
    buffer.hasMissing = false;
    input.offerReceived(buffer);
    return true;
}

CertificateHandle Probe::peerCertificate() {
    PCCERT_CONTEXT certificate = nullptr;
    const SECURITY_STATUS answer =
        context.isPresent() ? platform::QueryContextAttributesW(
                                  context.address(), SECPKG_ATTR_REMOTE_CERT_CONTEXT, &certificate)
                            : SEC_E_NO_CREDENTIALS;
    CertificateHandle owner(certificate);
    if (answer != SEC_E_OK && end.empty()) {
        end = statusText(answer);
    }
    return owner;
}

using Session = std::function<void(ISocketStrategy&, SOCKET)>;

// The connection name isn't a built-in one, since those refuse opportunistic TLS.
std::unique_ptr<ISocketStrategy> makeStrategy(ILog& log, const std::wstring& useEncryption) {
    const auto config = constructDefaultSslConfiguration(log, L"Explained");
    config->setValue(ConfigurationDefinition::ConnectionOptions::UseEncryption, useEncryption);
    return instantiateSocketStrategy(log, *config);
}

// A timeout takes precedence over the error that it causes.
void requireTimeLeft(const Watchdog::Guard& guard, const PeerQuestion& question) {
    if (guard.expired()) {
        throw Failure(ExitStatus::TimedOut, "timed out talking to " + question.target.text());
    }
}

// Connects to the first address that answers and calls talk. Throws Failure when none answers or on
// a timeout.
void connectAndRun(ISocketStrategy& strategy, const PeerQuestion& question,
                   const Session& session) {
    Watchdog watchdog;
    AddressList addresses;
    resolve(strategy, question.target, addresses);
    int error = 0;
    for (const addrinfo* address = addresses.first(); address != nullptr;
         address = address->ai_next) {
        const OwnedSocket socket(platform::socket(address->ai_family, SOCK_STREAM, 0));
        if (!socket.valid()) {
            error = platform::WSAGetLastError();
            continue;
        }
        const Watchdog::Guard guard(watchdog, socket.get(), question.timeout);
        const int result =
            strategy.connect(socket.get(), address->ai_addr, static_cast<int>(address->ai_addrlen));
        error = result == 0 ? 0 : platform::WSAGetLastError();
        try {
            if (error == 0) {
                session(strategy, socket.get());
            }
        } catch (const Failure&) {
            requireTimeLeft(guard, question);
            throw;
        }
        requireTimeLeft(guard, question);
        if (error == 0) {
            return;
        }
    }
    throw Failure(ExitStatus::CannotConnect,
                  "cannot connect to " + question.target.text() + ": " + socketErrorText(error));
}

} // namespace

CertificateChain fetchPeerChain(const PeerQuestion& question) {
    LogCollector log;
    CertificateChain chain;
    std::string end;
    connectAndRun(*makeStrategy(log, Values::False), question,
                  [&](ISocketStrategy& strategy, SOCKET socket) {
                      if (!question.startTls.empty()) {
                          requestTls(question.startTls, strategy, socket);
                      }
                      Probe probe(strategy, socket,
                                  question.name.empty() ? question.target.host : question.name);
                      chain.leaf = probe.run();
                      end = probe.end;
                  });
    if (!chain.leaf) {
        throw Failure(ExitStatus::Handshake,
                      question.target.text() + " showed no certificate: " + end);
    }
    chain.cameAlong = chain.leaf.get()->hCertStore;
    CertificateHandle current;
    while ((current = CertificateHandle(platform::CertEnumCertificatesInStore(
                chain.leaf.get()->hCertStore, current.take())))) {
        chain.certificates.emplace_back(platform::CertDuplicateCertificateContext(current.get()));
    }
    return chain;
}

TriedConnection tryConnection(const PeerQuestion& question) {
    LogCollector log;
    TriedConnection tried;
    const auto switchOver = [&question](ISocketStrategy& strategy, SOCKET socket) {
        requestTls(question.startTls, strategy, socket);
        switchToTls(strategy);
    };
    try {
        if (question.startTls.empty()) {
            connectAndRun(*makeStrategy(log, Values::True), question,
                          [](ISocketStrategy&, SOCKET) {});
        } else {
            connectAndRun(*makeStrategy(log, Values::Opportunistically), question, switchOver);
        }
    } catch (const Failure& failure) {
        tried.failure = failure.what();
    }
    tried.lines = log.take();
    return tried;
}

} // namespace VexaSsl::tool
