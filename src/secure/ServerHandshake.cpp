#include "secure/ServerHandshake.h"
#include "secure/LogTexts.h"

#include "frame/ErrorText.h"
#include "secure/ChannelCredentials.h"
#include "secure/ClientAuthentication.h"
#include "secure/ContextBuffer.h"
#include "secure/NegotiationBuffer.h"
#include "secure/NegotiationStep.h"
#include "secure/NegotiationTransport.h"
#include "secure/SecureSocketRecord.h"

#include <cstdint>
#include <utility>

namespace VexaSsl {

namespace {

constexpr ULONG plainRequirements = ASC_REQ_STREAM // a stream of records, not single messages
                                    | ASC_REQ_EXTENDED_ERROR  // alerts for the peer
                                    | ASC_REQ_ALLOCATE_MEMORY // the package allocates tokens
                                    | ASC_REQ_CONFIDENTIALITY // encryption
                                    | ASC_REQ_REPLAY_DETECT;  // repeated records are detected
static_assert(plainRequirements == 0x18114);

constexpr ULONG authenticatingRequirements =
    plainRequirements | ASC_REQ_MUTUAL_AUTH; // the client is asked for a certificate
static_assert(authenticatingRequirements == 0x18116);

const wchar_t* const callName = LogTexts::serverStep;

// One handshake. The order of the fields releases an unsent token first, then the received bytes,
// then a context that was not moved to the record.
class ServerNegotiation {
public:
    explicit ServerNegotiation(SecureSocketRecord& record)
        : record(record), contextRequirements(record.options.requireClientAuthentication
                                                  ? authenticatingRequirements
                                                  : plainRequirements) {}

    void run() {
        receiveNegotiationData(record, buffer);
        callPackage(nullptr);
        while (!advance()) {
            receiveNegotiationData(record, buffer);
            // Also if the first call created no context: the package treats two zero words as none.
            callPackage(context.address());
        }
        complete();
    }

private:
    void callPackage(CtxtHandle* current);
    bool advance();
    void passToken();
    void complete();
    [[noreturn]] void fail();

    SecureSocketRecord& record;
    const ULONG contextRequirements;
    SecurityContext context;
    NegotiationBuffer buffer;
    BufferPair input;
    BufferPair output;
    ContextBuffer<void> memoryOfToken; // of output
    ULONG attributes = 0;
    std::uint32_t iterations = 0;
    SECURITY_STATUS status = SEC_E_OK;
};

// The address for a new context is passed on every call, unlike on a client.
void ServerNegotiation::callPackage(CtxtHandle* current) {
    input.offerReceived(buffer);
    output.expectTokenAndAlert();
    TimeStamp expiry{};
    status = platform::AcceptSecurityContext(record.credentials->credentialHandle.address(),
                                             current, input.description(), contextRequirements,
                                             SECURITY_NETWORK_DREP, context.address(),
                                             output.description(), &attributes, &expiry);
    memoryOfToken = tokenMemory(output);
}

// Handles the result of the call. Returns whether the handshake is complete; if not, the next step
// is to receive.
bool ServerNegotiation::advance() {
    if (!continuesNegotiation(status)) {
        fail();
    }
    ++iterations;
    logStep(record.log, callName, status);
    if (status == SEC_E_INCOMPLETE_MESSAGE) {
        expectMissingBytes(input, buffer);
        return false;
    }
    // Ignored on this side: the bytes held stay, and while there are some the next receive asks for
    // 0 bytes. Compatibility: ignored-incomplete-credentials
    if (status == SEC_I_INCOMPLETE_CREDENTIALS) {
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

// An empty token is ignored without a line; a client logs one.
void ServerNegotiation::passToken() {
    const SecBuffer* token = output.find(SECBUFFER_TOKEN);
    if (token == nullptr || token->cbBuffer == 0) {
        return;
    }
    record.log.log(Severity::Debug, L"AcceptSecurityContext: Sending token to client");
    sendNegotiationData(record, token->pvBuffer, token->cbBuffer);
    memoryOfToken.reset();
}

// The last token has been sent: a client that is rejected here may believe that it is connected.
// Compatibility: late-client-check
void ServerNegotiation::complete() {
    requireConfidentiality(record.log, attributes);
    authenticateClient(record, *context.address());
    reportCompletion(record, L"server", callName, iterations);
    record.securityContext = std::move(context);
}

// A token that comes with a failure is freed without being sent. No status is explained further,
// unlike on a client.
void ServerNegotiation::fail() {
    logSystemError(record.log, callName, static_cast<DWORD>(status));
    abandonNegotiation(record, "AcceptSecurityContext failed", status, buffer);
}

} // namespace

void runServerHandshake(SecureSocketRecord& record) {
    ServerNegotiation(record).run();
}

} // namespace VexaSsl
