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

// The token of the peer, in the caller's memory.
using Received = std::span<unsigned char>;

// The bits of both roles, where they differ only in their numbers.
struct RequirementBits {
    ULONG allocateMemory;
    ULONG mutualAuthentication;
    ULONG whileNegotiating; // mirrored in the attributes from the first token on
    ULONG whenEstablished;  // mirrored once they hold
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

// The arguments of either call.
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
    bool isFirst() const { return isNone(context); }
};

ULONG attributesOf(const Negotiation& call, const TlsConnection& context) {
    ULONG held = call.bits().whileNegotiating;
    if (context.stage == Stage::established) {
        held |= call.bits().whenEstablished;
        if (context.hasPeerCertificate()) {
            held |= call.bits().mutualAuthentication;
        }
    }
    return held & call.requirements;
}

SECURITY_STATUS startContext(const Negotiation& call, const Credentials& credentials,
                             std::shared_ptr<TlsConnection>& context) {
    auto started = std::make_shared<TlsConnection>(credentials);
    if (call.role == Role::client) {
        const std::optional<TargetName> target = TargetName::parse(call.targetName);
        if (!target) {
            return SEC_E_WRONG_PRINCIPAL; // a server without a name would go unchecked
        }
        target->applyTo(started->ssl.get());
    } else if (call.requirements & ASC_REQ_MUTUAL_AUTH) {
        // No list of authorities goes along with the request.
        SSL_set_verify(started->ssl.get(), SSL_VERIFY_PEER, nullptr);
    }
    context = std::move(started);
    return SEC_E_OK;
}

// Finds the context of the call, null for a first one.
SECURITY_STATUS findContext(const Negotiation& call, std::shared_ptr<TlsConnection>& context) {
    if (call.isFirst()) {
        return call.newContext ? SEC_E_OK : SEC_E_INVALID_HANDLE;
    }
    context = objectOf<TlsConnection>(call.context);
    return context && context->role == call.role ? SEC_E_OK : SEC_E_INVALID_HANDLE;
}

// Whether the context takes part in a handshake. The guard is held.
SECURITY_STATUS judgeStage(const TlsConnection& context) {
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

// Result: SEC_E_OK for whole records, and for nothing at a client's start. Nothing is consumed
// here.
SECURITY_STATUS judgeInput(const Negotiation& call, ByteView received) {
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
    tell(call.input, SECBUFFER_MISSING, extent.missing, nullptr);
    return SEC_E_INCOMPLETE_MESSAGE;
}

Received receivedBytes(const Negotiation& call) {
    const SecBuffer* entry = findEntry(call.input, SECBUFFER_TOKEN);
    return entry ? bytesOf(*entry) : Received();
}

void handOver(Token& token, SecBuffer& entry) {
    const std::size_t size = token.size();
    setEntry(entry, SECBUFFER_TOKEN, size, token.release());
}

// What a step that did not fail gives to the caller.
void report(const Negotiation& call, const TlsConnection& context, Received unused, Token& token) {
    handOver(token, *findEntry(call.output, SECBUFFER_TOKEN));
    if (context.stage == Stage::established && !unused.empty()) {
        tell(call.input, SECBUFFER_EXTRA, unused.size(), unused.data());
    }
    if (call.attributes) {
        *call.attributes = attributesOf(call, context);
    }
}

SECURITY_STATUS advance(const Negotiation& call, TlsConnection& context, Received received) {
    const std::lock_guard lock(context.guarding);
    if (const SECURITY_STATUS status = judgeStage(context); status != SEC_E_OK) {
        return status;
    }
    const SECURITY_STATUS input = judgeInput(call, received);
    if (input == SEC_E_INCOMPLETE_MESSAGE) {
        return input;
    }
    if (input != SEC_E_OK) {
        return context.fail(input);
    }
    context.mayGoWithoutCertificate = (call.requirements & ISC_REQ_USE_SUPPLIED_CREDS) != 0;
    Token token;
    std::size_t consumed = 0;
    const SECURITY_STATUS status = advanceHandshake(context, received, token, consumed);
    if (status >= 0) {
        report(call, context, received.subspan(consumed), token);
    }
    return status;
}

// The first step: a context comes about only if something was consumed or is to be sent.
SECURITY_STATUS begin(const Negotiation& call, const Credentials& credentials, Received received) {
    if (const SECURITY_STATUS status = judgeInput(call, received); status != SEC_E_OK) {
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
        dropHandle<TlsConnection>(&handle);
    }
    return status;
}

SECURITY_STATUS negotiate(const Negotiation& call) {
    forgetFailure();
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
    // Tokens into the caller's own memory have no use here.
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
    return packageCall([&] { return dropHandle<TlsConnection>(context); });
}

} // namespace VexaSsl
