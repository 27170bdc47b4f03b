#include "platform/contract/SecuritySupport.h"

#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/stores/TargetName.h"
#include "platform/openssl/tls/Handshake.h"
#include "platform/openssl/tls/PackageCall.h"
#include "platform/openssl/tls/SecurityBuffers.h"
#include "platform/openssl/tls/SecurityHandles.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <utility>

namespace VexaSsl {
namespace {

using namespace openssl;

// The peer's token in the caller's memory.
using Received = std::span<unsigned char>;

// The requirement bits of a role. Requested ones are returned as attributes when they are in
// effect.
struct RequirementBits {
    ULONG allocateMemory;
    ULONG mutualAuthentication;
    ULONG whileNegotiating; // in effect from the first token on
    ULONG whenEstablished;  // in effect once established
};

constexpr ULONG clientMutualAuthentication = 0x00000002; // ISC_REQ_MUTUAL_AUTH

constexpr RequirementBits clientBits{
    .allocateMemory = ISC_REQ_ALLOCATE_MEMORY,
    .mutualAuthentication = clientMutualAuthentication,
    .whileNegotiating = ISC_REQ_ALLOCATE_MEMORY | ISC_REQ_EXTENDED_ERROR | ISC_REQ_STREAM |
                        ISC_REQ_USE_SUPPLIED_CREDS,
    .whenEstablished = ISC_REQ_CONFIDENTIALITY | ISC_REQ_REPLAY_DETECT};
constexpr RequirementBits serverBits{
    .allocateMemory = ASC_REQ_ALLOCATE_MEMORY,
    .mutualAuthentication = ASC_REQ_MUTUAL_AUTH,
    .whileNegotiating = ASC_REQ_ALLOCATE_MEMORY | ASC_REQ_EXTENDED_ERROR | ASC_REQ_STREAM,
    .whenEstablished = ASC_REQ_CONFIDENTIALITY | ASC_REQ_REPLAY_DETECT};

// The arguments of InitializeSecurityContextW or AcceptSecurityContext.
struct Negotiation {
    Role role;
    const CredHandle* credential;
    const CtxtHandle* context;
    CtxtHandle* newContext;
    const wchar_t* targetName; // a client's
    ULONG requirements;
    const SecBufferDesc* input;
    const SecBufferDesc* output;
    ULONG* attributes;
    TimeStamp* expiry;

    const RequirementBits& bits() const { return role == Role::client ? clientBits : serverBits; }
    bool isFirst() const { return isNull(context); }
};

ULONG attributesOf(const Negotiation& call, const TlsConnection& context) {
    ULONG attributes = call.bits().whileNegotiating;
    if (context.stage == Stage::established) {
        attributes |= call.bits().whenEstablished;
        if (context.hasPeerCertificate()) {
            attributes |= call.bits().mutualAuthentication;
        }
    }
    return attributes & call.requirements;
}

SECURITY_STATUS startContext(const Negotiation& call, const Credentials& credentials,
                             std::shared_ptr<TlsConnection>& context) {
    auto connection = std::make_shared<TlsConnection>(credentials);
    if (call.role == Role::client) {
        const std::optional<TargetName> target = TargetName::parse(call.targetName);
        if (!target) {
            return SEC_E_WRONG_PRINCIPAL; // OpenSSL would not check the names in the certificate
        }
        target->applyTo(connection->ssl.get());
    } else if (call.requirements & ASC_REQ_MUTUAL_AUTH) {
        // The CertificateRequest has an empty list of certification authorities.
        SSL_set_verify(connection->ssl.get(), SSL_VERIFY_PEER, nullptr);
    }
    context = std::move(connection);
    return SEC_E_OK;
}

// Finds the context of the call; null for a first call.
SECURITY_STATUS findContext(const Negotiation& call, std::shared_ptr<TlsConnection>& context) {
    if (call.isFirst()) {
        return call.newContext ? SEC_E_OK : SEC_E_INVALID_HANDLE;
    }
    context = objectOf<TlsConnection>(call.context);
    return context && context->role == call.role ? SEC_E_OK : SEC_E_INVALID_HANDLE;
}

// Returns SEC_E_OK if the context is in its handshake, else the status of the call. The caller
// holds the mutex.
SECURITY_STATUS stageStatus(const TlsConnection& context) {
    switch (context.stage) {
    case Stage::negotiating:
        return SEC_E_OK;
    case Stage::failed:
        return context.failure;
    case Stage::established:
    case Stage::closed:
        break;
    }
    return SEC_E_UNSUPPORTED_FUNCTION; // a second handshake on one connection
}

// Returns SEC_E_OK for whole records, and for no input at a client's start. Consumes nothing.
SECURITY_STATUS inputStatus(const Negotiation& call, ByteView received) {
    if (call.role == Role::client && call.isFirst()) {
        return received.empty() ? SEC_E_OK : SEC_E_INVALID_TOKEN;
    }
    const RecordExtent extent = lastRecord(received);
    if (extent.boundary == Boundary::notTls) {
        return SEC_E_INVALID_TOKEN;
    }
    if (extent.boundary == Boundary::whole) {
        return SEC_E_OK;
    }
    setEmptyEntry(call.input, SECBUFFER_MISSING, extent.missing, nullptr);
    return SEC_E_INCOMPLETE_MESSAGE;
}

Received receivedBytes(const Negotiation& call) {
    const SecBuffer* entry = findEntry(call.input, SECBUFFER_TOKEN);
    return entry ? bytesOf(*entry) : Received();
}

void moveToken(Token& token, SecBuffer& entry) {
    const std::size_t size = token.size();
    setEntry(entry, SECBUFFER_TOKEN, size, token.release());
}

// Writes the results of a successful step.
void writeResults(const Negotiation& call, const TlsConnection& context, Received unused,
                  Token& token) {
    moveToken(token, *findEntry(call.output, SECBUFFER_TOKEN));
    if (context.stage == Stage::established && !unused.empty()) {
        setEmptyEntry(call.input, SECBUFFER_EXTRA, unused.size(), unused.data());
    }
    if (call.attributes) {
        *call.attributes = attributesOf(call, context);
    }
}

SECURITY_STATUS advance(const Negotiation& call, TlsConnection& context, Received received) {
    const std::lock_guard lock(context.mutex);
    if (const SECURITY_STATUS status = stageStatus(context); status != SEC_E_OK) {
        return status;
    }
    const SECURITY_STATUS input = inputStatus(call, received);
    if (input == SEC_E_INCOMPLETE_MESSAGE) {
        return input;
    }
    if (input != SEC_E_OK) {
        return context.fail(input);
    }
    context.mayContinueWithoutCertificate = (call.requirements & ISC_REQ_USE_SUPPLIED_CREDS) != 0;
    Token token;
    std::size_t consumed = 0;
    const SECURITY_STATUS status = advanceHandshake(context, received, token, consumed);
    if (status >= 0) {
        writeResults(call, context, received.subspan(consumed), token);
    }
    return status;
}

// The first step. The caller receives a context only if the step succeeds.
SECURITY_STATUS begin(const Negotiation& call, const Credentials& credentials, Received received) {
    if (const SECURITY_STATUS status = inputStatus(call, received); status != SEC_E_OK) {
        return status;
    }
    std::shared_ptr<TlsConnection> context;
    if (const SECURITY_STATUS status = startContext(call, credentials, context);
        status != SEC_E_OK) {
        return status;
    }
    const CtxtHandle handle = addHandle(context);
    const SECURITY_STATUS status = advance(call, *context, received);
    if (status >= 0) {
        *call.newContext = handle;
    } else {
        removeHandle<TlsConnection>(&handle);
    }
    return status;
}

SECURITY_STATUS negotiate(const Negotiation& call) {
    clearFailure();
    if (call.attributes) {
        *call.attributes = 0;
    }
    if (call.expiry) {
        *call.expiry = std::numeric_limits<TimeStamp>::max();
    }
    const auto credentials = objectOf<Credentials>(call.credential);
    if (!credentials) {
        return SEC_E_INVALID_HANDLE;
    }
    if (credentials->role != call.role) {
        return SEC_E_NO_CREDENTIALS;
    }
    std::shared_ptr<TlsConnection> context;
    if (const SECURITY_STATUS status = findContext(call, context); status != SEC_E_OK) {
        return status;
    }
    // Tokens in the caller's own memory are not supported.
    if (!(call.requirements & call.bits().allocateMemory)) {
        return SEC_E_UNSUPPORTED_FUNCTION;
    }
    if (!findEntry(call.output, SECBUFFER_TOKEN)) {
        return SEC_E_INVALID_TOKEN;
    }
    const Received received = receivedBytes(call);
    if (!context) {
        return begin(call, *credentials, received);
    }
    const SECURITY_STATUS status = advance(call, *context, received);
    if (call.newContext) {
        *call.newContext = *call.context;
    }
    return status;
}

} // namespace

SECURITY_STATUS platform::InitializeSecurityContextW(CredHandle* credential, CtxtHandle* context,
                                                     wchar_t* targetName, ULONG requirements, ULONG,
                                                     ULONG, SecBufferDesc* input, ULONG,
                                                     CtxtHandle* newContext, SecBufferDesc* output,
                                                     ULONG* attributes, TimeStamp* expiry) {
    return packageCall([&] {
        return negotiate({.role = Role::client,
                          .credential = credential,
                          .context = context,
                          .newContext = newContext,
                          .targetName = targetName,
                          .requirements = requirements,
                          .input = input,
                          .output = output,
                          .attributes = attributes,
                          .expiry = expiry});
    });
}

SECURITY_STATUS platform::AcceptSecurityContext(CredHandle* credential, CtxtHandle* context,
                                                SecBufferDesc* input, ULONG requirements, ULONG,
                                                CtxtHandle* newContext, SecBufferDesc* output,
                                                ULONG* attributes, TimeStamp* expiry) {
    return packageCall([&] {
        return negotiate({.role = Role::server,
                          .credential = credential,
                          .context = context,
                          .newContext = newContext,
                          .targetName = nullptr,
                          .requirements = requirements,
                          .input = input,
                          .output = output,
                          .attributes = attributes,
                          .expiry = expiry});
    });
}

SECURITY_STATUS platform::DeleteSecurityContext(CtxtHandle* context) {
    return packageCall([&] { return removeHandle<TlsConnection>(context); });
}

} // namespace VexaSsl
