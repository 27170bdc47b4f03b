#include "fakes/NegotiationStage.h"

#include "secure/ClientHandshake.h"
#include "secure/ServerHandshake.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace VexaSsl::test {

NegotiationStage::NegotiationStage(bool isServer, const std::wstring& target) : isServer(isServer) {
    record = good.makeRecord(isServer, target);
    record->securityContext = SecurityContext();
    good.clear();
    scriptPeer();
    scriptPackage();
}

NegotiationStage::~NegotiationStage() = default;

void NegotiationStage::run() {
    if (isServer) {
        runServerHandshake(*record);
    } else {
        runClientHandshake(*record);
    }
}

std::string NegotiationStage::failure() {
    try {
        run();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no exception";
}

std::vector<LogLine> NegotiationStage::lines() const {
    return good.log.lines;
}

bool NegotiationStage::logged(const LogLine& line) const {
    return std::count(good.log.lines.begin(), good.log.lines.end(), line) == 1;
}

std::size_t NegotiationStage::tokensHeld() const {
    return tokens.size();
}

bool NegotiationStage::recordHasTheContext() {
    return record->securityContext.address()->dwLower == made.dwLower &&
           record->securityContext.address()->dwUpper == made.dwUpper;
}

void NegotiationStage::scriptPeer() {
    good.strategy.onSend = [this](SOCKET socket, const char* data, int length, int flags) {
        EXPECT_EQ(socket, GoodHandshake::socket);
        EXPECT_EQ(flags, 0);
        const int taken = std::min(length, sendLimit);
        sent.append(data, static_cast<std::size_t>(taken));
        events.emplace_back("send");
        return taken;
    };
    good.strategy.onRecv = [this](SOCKET socket, char* buffer, int length, int flags) {
        EXPECT_EQ(socket, GoodHandshake::socket);
        EXPECT_EQ(flags, 0);
        events.emplace_back("recv");
        receiveLengths.push_back(length);
        if (length == 0 || arriving.empty()) {
            return 0;
        }
        const std::string piece = arriving.front();
        arriving.pop_front();
        EXPECT_LE(piece.size(), static_cast<std::size_t>(length));
        std::copy(piece.begin(), piece.end(), buffer);
        return static_cast<int>(piece.size());
    };
}

void NegotiationStage::scriptPackage() {
    ScriptedPlatform& platform = good.platform;
    platform.InitializeSecurityContextW =
        [this](CredHandle* credential, CtxtHandle* context, wchar_t* target, ULONG asks,
               ULONG reserved1, ULONG representation, SecBufferDesc* input, ULONG reserved2,
               CtxtHandle* created, SecBufferDesc* output, ULONG* attributes, TimeStamp* expiry) {
            EXPECT_EQ(reserved1, 0U);
            EXPECT_EQ(reserved2, 0U);
            targets.emplace_back(target);
            checkCommon(credential, representation, expiry);
            return answer(context, asks, input, created, output, attributes);
        };
    platform.AcceptSecurityContext = [this](CredHandle* credential, CtxtHandle* context,
                                            SecBufferDesc* input, ULONG asks, ULONG representation,
                                            CtxtHandle* created, SecBufferDesc* output,
                                            ULONG* attributes, TimeStamp* expiry) {
        checkCommon(credential, representation, expiry);
        return answer(context, asks, input, created, output, attributes);
    };
    platform.FreeContextBuffer = [this](void* memory) {
        EXPECT_EQ(tokens.count(static_cast<char*>(memory)), 1U) << "freed twice or never made";
        tokens.erase(static_cast<char*>(memory));
        events.emplace_back("free");
        return SEC_E_OK;
    };
    platform.DeleteSecurityContext = [this](CtxtHandle* context) {
        EXPECT_EQ(context->dwLower, made.dwLower);
        EXPECT_EQ(context->dwUpper, made.dwUpper);
        ++good.contextsDeleted;
        events.emplace_back("delete");
        return SEC_E_OK;
    };
    platform.DebugBreak = [this] { events.emplace_back("break"); };
}

void NegotiationStage::checkCommon(CredHandle* credential, ULONG representation,
                                   TimeStamp* expiry) {
    EXPECT_EQ(credential->dwLower, good.credential.dwLower);
    EXPECT_EQ(credential->dwUpper, good.credential.dwUpper);
    EXPECT_EQ(representation, 0U);
    EXPECT_NE(expiry, nullptr);
}

SECURITY_STATUS NegotiationStage::answer(CtxtHandle* context, ULONG asks, SecBufferDesc* input,
                                         CtxtHandle* created, SecBufferDesc* output,
                                         ULONG* attributes) {
    events.emplace_back("call");
    requirements.push_back(asks);
    packageCalls.push_back({context != nullptr,
                            context != nullptr && context->dwLower == 0 && context->dwUpper == 0,
                            created != nullptr, input != nullptr, readInput(input)});
    checkOutput(output);
    if (steps.empty()) {
        ADD_FAILURE() << "the package was called more often than scripted";
        return SEC_E_INTERNAL_ERROR;
    }
    const PackageStep step = steps.front();
    steps.pop_front();
    if (created != nullptr && step.createsContext) {
        *created = made;
    }
    *attributes = step.attributes;
    changeInput(input, step);
    fillOutput(output, step);
    return step.status;
}

void NegotiationStage::expectBuffer(const SecBuffer& buffer, ULONG type, bool empty) {
    EXPECT_EQ(buffer.BufferType, type);
    if (empty) {
        EXPECT_EQ(buffer.cbBuffer, 0U);
        EXPECT_EQ(buffer.pvBuffer, nullptr);
    }
}

std::string NegotiationStage::readInput(const SecBufferDesc* input) {
    if (input == nullptr) {
        return {};
    }
    EXPECT_EQ(input->ulVersion, 0U);
    EXPECT_EQ(input->cBuffers, 2U);
    const SecBuffer& received = input->pBuffers[0];
    expectBuffer(received, SECBUFFER_TOKEN, false);
    expectBuffer(input->pBuffers[1], SECBUFFER_EMPTY, true);
    return {static_cast<const char*>(received.pvBuffer), received.cbBuffer};
}

void NegotiationStage::checkOutput(const SecBufferDesc* output) {
    EXPECT_EQ(output->ulVersion, 0U);
    EXPECT_EQ(output->cBuffers, 2U);
    expectBuffer(output->pBuffers[0], SECBUFFER_TOKEN, true);
    expectBuffer(output->pBuffers[1], SECBUFFER_ALERT, true);
}

void NegotiationStage::changeInput(SecBufferDesc* input, const PackageStep& step) {
    if (input == nullptr) {
        return;
    }
    SecBuffer& second = input->pBuffers[1];
    if (step.missing) {
        second.BufferType = SECBUFFER_MISSING;
        second.cbBuffer = *step.missing;
    } else if (step.extra) {
        second.BufferType = SECBUFFER_EXTRA;
        second.cbBuffer = *step.extra;
    }
}

void NegotiationStage::fillOutput(SecBufferDesc* output, const PackageStep& step) {
    SecBuffer& token = output->pBuffers[0];
    if (step.omitsTokenBuffer) {
        token.BufferType = SECBUFFER_EMPTY;
    }
    if (!step.token.empty() || step.emptyMemory) {
        auto memory = std::make_unique<char[]>(step.token.size());
        std::copy(step.token.begin(), step.token.end(), memory.get());
        token.cbBuffer = static_cast<ULONG>(step.token.size());
        token.pvBuffer = memory.get();
        char* const key = memory.get();
        tokens[key] = std::move(memory);
    }
    if (step.alert || step.emptyMemory) {
        output->pBuffers[1].cbBuffer = step.alert ? static_cast<ULONG>(sizeof alertBytes) : 0;
        output->pBuffers[1].pvBuffer = alertBytes;
    }
}

} // namespace VexaSsl::test
