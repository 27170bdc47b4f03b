#include "secure/ClientHandshake.h"
#include "secure/LogTexts.h"

#include "frame/ConnectionError.h"
#include "frame/ErrorText.h"
#include "secure/ChannelCredentials.h"
#include "secure/ContextBuffer.h"
#include "secure/NegotiationBuffer.h"
#include "secure/NegotiationStep.h"
#include "secure/NegotiationTransport.h"
#include "secure/SecureSocketRecord.h"

#include <cstdint>
#include <utility>

namespace VexaSsl {

namespace {

// The package itself checks the server's certificate: manual validation is not among them.
constexpr ULONG contextRequirements =
    ISC_REQ_STREAM               // a stream of records, not single messages
    | ISC_REQ_EXTENDED_ERROR     // alerts for the peer
    | ISC_REQ_ALLOCATE_MEMORY    // the package allocates tokens
    | ISC_REQ_USE_SUPPLIED_CREDS // never send a certificate that the credential doesn't hold
    | ISC_REQ_CONFIDENTIALITY    // encryption
    | ISC_REQ_REPLAY_DETECT;     // repeated records are detected
static_assert(contextRequirements == 0xC194);

const wchar_t* const callName = LogTexts::clientStep;

// One handshake. The order of the fields releases an unsent token first, then the received bytes,
// then a context that was not moved to the record.
class ClientNegotiation {
public:
    explicit ClientNegotiation(SecureSocketRecord& record) : record(record) {}

    void run() {
        callPackage(nullptr, nullptr, context.address());
        while (!advance()) {
            receiveNegotiationData(record, buffer);
            input.offerReceived(buffer);
            // Without an address for a new context, unlike on a server: the package continues with
            // the one it created.
            callPackage(context.address(), input.description(), nullptr);
        }
        complete();
    }

private:
    void callPackage(CtxtHandle* current, SecBufferDesc* received, CtxtHandle* created);
    bool advance();
    void passToken();
    void complete();
    [[noreturn]] void fail();
    [[noreturn]] void failWithoutCredentials();

    SecureSocketRecord& record;
    SecurityContext context;
    NegotiationBuffer buffer;
    BufferPair input;
    BufferPair output;
    ContextBuffer<void> memoryOfToken; // of output
    ULONG attributes = 0;
    std::uint32_t iterations = 0;
    SECURITY_STATUS status = SEC_E_OK;
};

void ClientNegotiation::callPackage(CtxtHandle* current, SecBufferDesc* received,
                                    CtxtHandle* created) {
    output.expectTokenAndAlert();
    TimeStamp expiry{};
    status = platform::InitializeSecurityContextW(
        record.credentials->credentialHandle.address(), current, record.targetName.data(),
        contextRequirements, 0, SECURITY_NETWORK_DREP, received, 0, created, output.description(),
        &attributes, &expiry);
    memoryOfToken = tokenMemory(output);
}

// Handles the result of the call. Returns whether the handshake is complete; if not, the next step
// is to receive.
bool ClientNegotiation::advance() {
    if (!continuesNegotiation(status)) {
        fail();
    }
    ++iterations;
    logStep(record.log, callName, status);
    if (status == SEC_I_INCOMPLETE_CREDENTIALS) {
        failWithoutCredentials();
    }
    if (status == SEC_E_INCOMPLETE_MESSAGE) {
        expectMissingBytes(input, buffer);
        return false;
    }
    // Everything received counts as consumed: SECBUFFER_EXTRA is not read, and data that arrived
    // with the last handshake record is lost.
    // Compatibility: handshake-extra
    // Compatibility: data-after-handshake
    buffer.reset();
    const bool alerted = breakOnAlert(output);
    passToken();
    return status == SEC_E_OK && !alerted;
}

void ClientNegotiation::passToken() {
    const SecBuffer* token = output.find(SECBUFFER_TOKEN);
    if (token == nullptr) {
        return;
    }
    if (token->cbBuffer == 0) {
        record.log.log(Severity::Debug, L"InitializeSecurityContext: No token to send");
        return;
    }
    record.log.log(Severity::Debug, LogTexts::clientFlight);
    sendNegotiationData(record, token->pvBuffer, token->cbBuffer);
    memoryOfToken.reset();
}

// The last token has been sent: if this fails the server may believe that it is connected.
void ClientNegotiation::complete() {
    requireConfidentiality(record.log, attributes);
    reportCompletion(record, L"client", callName, iterations);
    record.securityContext = std::move(context);
}

// A token that comes with a failure is freed without being sent.
void ClientNegotiation::fail() {
    logSystemError(record.log, callName, static_cast<DWORD>(status));
    if (status == SEC_E_WRONG_PRINCIPAL) {
        record.log.log(Severity::Info,
                       L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable "
                       L"cause: None of the names on the certificate that the server supplied to "
                       L"us match the address we connected to [" +
                           record.targetName + L"]");
        // Logged always, without an attempt to read the certificate. Compatibility: misspelt-texts
        record.log.log(Severity::Info,
                       L"It is not possible to report the names on the certificate.");
    }
    abandonNegotiation(record, "InitializeSecurityContext failed", status, buffer);
}

// The server asks for a certificate and the credential has none. The handshake is not repeated with
// another one.
void ClientNegotiation::failWithoutCredentials() {
    record.log.log(Severity::Error, LogTexts::incompleteCredentials);
    throw ConnectionError(FailureCause::OwnCertificate, "incomplete credentials", status);
}

} // namespace

void runClientHandshake(SecureSocketRecord& record) {
    ClientNegotiation(record).run();
}

} // namespace VexaSsl
