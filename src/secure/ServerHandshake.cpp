#include "secure/ServerHandshake.h"

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

constexpr ULONG plainRequirements =
    ASC_REQ_STREAM            // a stream of records, not single messages
    | ASC_REQ_EXTENDED_ERROR  // the package may tell the peer why it fails
    | ASC_REQ_ALLOCATE_MEMORY // tokens come in the package's own memory
    | ASC_REQ_CONFIDENTIALITY // encryption
    | ASC_REQ_REPLAY_DETECT;  // a repeated record is noticed
static_assert(plainRequirements == 0x18114);

constexpr ULONG authenticatingRequirements =
    plainRequirements | ASC_REQ_MUTUAL_AUTH; // the client is asked for a certificate
static_assert(authenticatingRequirements == 0x18116);

const wchar_t* const callName = L"AcceptSecurityContext";

// One run. The fields are released in the reverse of their order: first a token that wasn't sent,
// then the received bytes, which are wiped, then a context that wasn't handed over.
class ServerNegotiation {
public:
    explicit ServerNegotiation(SecureSocketRecord& target)
        : record(target), contextRequirements(target.options.requireClientAuthentication
                                                  ? authenticatingRequirements
                                                  : plainRequirements) {}

    void run() {
        receiveNegotiationData(record, buffer);
        callPackage(nullptr);
        while (!advance()) {
            receiveNegotiationData(record, buffer);
            // Also when the first call made no context yet: the address then leads to two zero
            // words, which the package takes for none.
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

// The address for a new context is passed on every call, unlike on the client's side.
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

// Deals with what the call gave. True: the negotiation is complete; false: the client has to say
// something first.
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
    const SECURITY_STATUS deciding = decidingValue(status, output);
    passToken();
    return deciding == SEC_E_OK;
}

// An empty token is passed over without a line; the client's side has one.
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

// A token that comes with a failure goes back unsent: the client learns nothing but the end of the
// connection. No status is explained further, unlike on the client's side.
void ServerNegotiation::fail() {
    logSystemError(record.log, callName, static_cast<DWORD>(status));
    abandonNegotiation(record, "AcceptSecurityContext failed");
}

} // namespace

void runServerHandshake(SecureSocketRecord& record) {
    ServerNegotiation(record).run();
}

} // namespace VexaSsl
