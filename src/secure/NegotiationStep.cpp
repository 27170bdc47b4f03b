#include "secure/NegotiationStep.h"

#include "frame/ConnectionError.h"
#include "frame/DecimalText.h"
#include "frame/ErrorText.h"
#include "platform/contract/WindowsBase.h"
#include "secure/NegotiationBuffer.h"
#include "secure/NegotiationFailure.h"
#include "secure/SecureSocketRecord.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace VexaSsl {

namespace {

static_assert(ISC_RET_CONFIDENTIALITY == ASC_RET_CONFIDENTIALITY, "one check for both sides");

SecBuffer makeBuffer(ULONG type, ULONG size = 0, void* data = nullptr) {
    SecBuffer buffer{};
    buffer.cbBuffer = size;
    buffer.BufferType = type;
    buffer.pvBuffer = data;
    return buffer;
}

} // namespace

void BufferPair::offerReceived(NegotiationBuffer& buffer) {
    describe(makeBuffer(SECBUFFER_TOKEN, buffer.have, buffer.bytes.data()),
             makeBuffer(SECBUFFER_EMPTY));
}

void BufferPair::expectTokenAndAlert() {
    describe(makeBuffer(SECBUFFER_TOKEN), makeBuffer(SECBUFFER_ALERT));
}

void BufferPair::describe(const SecBuffer& first, const SecBuffer& second) {
    entries = {first, second};
    shape.ulVersion = SECBUFFER_VERSION;
    shape.cBuffers = static_cast<ULONG>(entries.size());
    shape.pBuffers = entries.data();
}

const SecBuffer* BufferPair::find(ULONG type) const {
    const auto found = std::find_if(entries.begin(), entries.end(), [type](const SecBuffer& entry) {
        return entry.BufferType == type;
    });
    return found == entries.end() ? nullptr : &*found;
}

bool continuesNegotiation(SECURITY_STATUS status) {
    return status == SEC_I_CONTINUE_NEEDED || status == SEC_I_INCOMPLETE_CREDENTIALS ||
           status == SEC_E_INCOMPLETE_MESSAGE || status == SEC_E_OK;
}

void logStep(ILog& log, std::wstring_view call, SECURITY_STATUS status) {
    log.log(Severity::Debug, joined({call, L" succeeded with: ", DecimalText(status), L" (",
                                     systemErrorText(static_cast<DWORD>(status)), L")"}));
}

void expectMissingBytes(const BufferPair& input, NegotiationBuffer& buffer) {
    const SecBuffer* missing = input.find(SECBUFFER_MISSING);
    if (missing != nullptr) {
        buffer.expectMissing(missing->cbBuffer);
    }
}

bool breakOnAlert(const BufferPair& output) {
    const SecBuffer* alert = output.find(SECBUFFER_ALERT);
    if (alert == nullptr || alert->cbBuffer == 0) {
        return false;
    }
    // Compatibility: unsent-alert
    // Compatibility: debug-break
    platform::DebugBreak();
    return true;
}

ContextBuffer<void> tokenMemory(const BufferPair& output) {
    const SecBuffer* token = output.find(SECBUFFER_TOKEN);
    return ContextBuffer<void>(token == nullptr ? nullptr : token->pvBuffer);
}

void requireConfidentiality(ILog& log, ULONG attributes) {
    if ((attributes & ISC_RET_CONFIDENTIALITY) != 0) {
        return;
    }
    log.log(Severity::Error, L"A security context was established successfully, however it does "
                             L"not provide confidentiality (encryption). Aborting");
    throw ConnectionError(FailureCause::Protocol, "no confidentiality");
}

void reportCompletion(const SecureSocketRecord& record, std::wstring_view side,
                      std::wstring_view call, std::uint32_t iterations) {
    record.log.log(Severity::Info,
                   joined({L"An encrypted connection has been successfully initialised on socket [",
                           DecimalText(record.socket), L"] (", side, L" side)"}));
    record.log.log(Severity::Debug,
                   joined({call, L" completed successfully in [",
                           DecimalText(static_cast<std::int32_t>(iterations)), L"] iterations"}));
}

void abandonNegotiation(const SecureSocketRecord& record, const char* text, SECURITY_STATUS status,
                        const NegotiationBuffer& received) {
    record.log.log(
        Severity::Warning,
        lineAround(L"An encrypted connection could not be successfully initialised on socket [",
                   record.socket, L"]. Aborting"));
    throw ConnectionError(
        causeOfNegotiation(status, record.isServer, {received.bytes.data(), received.have}), text,
        status);
}

} // namespace VexaSsl
