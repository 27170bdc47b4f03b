// Plays the package and the peer of one negotiation, step by step, against the drivers of the
// handshakes.
//
// The test lists what the package answers and what arrives from the peer; the stage notes what the
// package was given, what was asked of and sent to the peer, and the order of it all. The record is
// a real one whose own handshake is over; its security context has been dropped, so that what the
// driver leaves there can be seen.
#pragma once

#include "fakes/GoodHandshake.h"
#include "secure/ClientHandshake.h"
#include "secure/ServerHandshake.h"

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace VexaSsl::test {

// One answer of the package.
struct PackageStep {
    SECURITY_STATUS status = SEC_E_OK;
    std::string token = {};            // what is to be sent
    std::optional<ULONG> missing = {}; // the second input buffer becomes SECBUFFER_MISSING
    std::optional<ULONG> extra = {};   // the second input buffer becomes SECBUFFER_EXTRA
    bool alert = false;                // the second output buffer holds something
    bool tokenBufferIsGone = false;    // no output buffer of that type comes back
    bool makesContext = true;          // when it is given the address for a new one
    ULONG attributes = ISC_RET_CONFIDENTIALITY;
};

// What the package was given.
struct PackageCall {
    bool hadContext;     // by address
    bool contextWasZero; // and what the address led to
    bool hadNewContext;
    bool hadInput;
    std::string received; // the content of the first input buffer
    bool operator==(const PackageCall&) const = default;
};

class NegotiationStage {
public:
    explicit NegotiationStage(bool server, const std::wstring& target = L"peer.test")
        : isServer(server) {
        record = good.makeRecord(isServer, target);
        record->securityContext = SecurityContext();
        good.clear();
        scriptPeer();
        scriptPackage();
    }

    void run() {
        if (isServer) {
            runServerHandshake(*record);
        } else {
            runClientHandshake(*record);
        }
    }

    // The text of the exception that the run ends with.
    std::string failure() {
        try {
            run();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no exception";
    }

    std::vector<LogLine> lines() const { return good.log.lines; }
    bool logged(const LogLine& line) const {
        return std::count(good.log.lines.begin(), good.log.lines.end(), line) == 1;
    }
    // Tokens that the package made and nobody gave back.
    std::size_t tokensHeld() const { return tokens.size(); }
    // The context that the package made has come to the record and is nowhere else.
    bool recordHasTheContext() {
        return record->securityContext.address()->dwLower == made.dwLower &&
               record->securityContext.address()->dwUpper == made.dwUpper;
    }

    const bool isServer;
    std::deque<PackageStep> steps;
    std::deque<std::string> arriving; // one entry a receive; none left: the peer has gone
    int sendLimit = 1 << 20;          // the most that one send takes
    CtxtHandle made{0x51, 0x52};

    GoodHandshake good;
    std::vector<PackageCall> packageCalls;
    std::vector<ULONG> requirements;
    std::vector<std::wstring> targets;
    std::vector<int> asked; // by each receive
    std::string sent;
    std::vector<std::string> events; // call, send, recv, free, break, delete

private:
    void scriptPeer() {
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
            asked.push_back(length);
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

    void scriptPackage() {
        ScriptedPlatform& platform = good.platform;
        platform.InitializeSecurityContextW =
            [this](CredHandle* credential, CtxtHandle* context, wchar_t* target, ULONG asks,
                   ULONG reserved1, ULONG representation, SecBufferDesc* input, ULONG reserved2,
                   CtxtHandle* created, SecBufferDesc* output, ULONG* attributes,
                   TimeStamp* expiry) {
                EXPECT_EQ(reserved1, 0U);
                EXPECT_EQ(reserved2, 0U);
                targets.emplace_back(target);
                checkCommon(credential, representation, expiry);
                return answer(context, asks, input, created, output, attributes);
            };
        platform.AcceptSecurityContext =
            [this](CredHandle* credential, CtxtHandle* context, SecBufferDesc* input, ULONG asks,
                   ULONG representation, CtxtHandle* created, SecBufferDesc* output,
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

    void checkCommon(CredHandle* credential, ULONG representation, TimeStamp* expiry) {
        EXPECT_EQ(credential->dwLower, good.credential.dwLower);
        EXPECT_EQ(credential->dwUpper, good.credential.dwUpper);
        EXPECT_EQ(representation, 0U);
        EXPECT_NE(expiry, nullptr);
    }

    SECURITY_STATUS answer(CtxtHandle* context, ULONG asks, SecBufferDesc* input,
                           CtxtHandle* created, SecBufferDesc* output, ULONG* attributes) {
        events.emplace_back("call");
        requirements.push_back(asks);
        packageCalls.push_back(
            {context != nullptr,
             context != nullptr && context->dwLower == 0 && context->dwUpper == 0,
             created != nullptr, input != nullptr, readInput(input)});
        checkOutput(output);
        if (steps.empty()) {
            ADD_FAILURE() << "the package was called once more than scripted";
            return SEC_E_INTERNAL_ERROR;
        }
        const PackageStep step = steps.front();
        steps.pop_front();
        if (created != nullptr && step.makesContext) {
            *created = made;
        }
        *attributes = step.attributes;
        changeInput(input, step);
        fillOutput(output, step);
        return step.status;
    }

    static void expectBuffer(const SecBuffer& buffer, ULONG type, bool empty) {
        EXPECT_EQ(buffer.BufferType, type);
        if (empty) {
            EXPECT_EQ(buffer.cbBuffer, 0U);
            EXPECT_EQ(buffer.pvBuffer, nullptr);
        }
    }

    static std::string readInput(const SecBufferDesc* input) {
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

    static void checkOutput(const SecBufferDesc* output) {
        EXPECT_EQ(output->ulVersion, 0U);
        EXPECT_EQ(output->cBuffers, 2U);
        expectBuffer(output->pBuffers[0], SECBUFFER_TOKEN, true);
        expectBuffer(output->pBuffers[1], SECBUFFER_ALERT, true);
    }

    static void changeInput(SecBufferDesc* input, const PackageStep& step) {
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

    void fillOutput(SecBufferDesc* output, const PackageStep& step) {
        SecBuffer& token = output->pBuffers[0];
        if (step.tokenBufferIsGone) {
            token.BufferType = SECBUFFER_EMPTY;
        }
        if (!step.token.empty()) {
            auto memory = std::make_unique<char[]>(step.token.size());
            std::copy(step.token.begin(), step.token.end(), memory.get());
            token.cbBuffer = static_cast<ULONG>(step.token.size());
            token.pvBuffer = memory.get();
            char* const key = memory.get();
            tokens[key] = std::move(memory);
        }
        if (step.alert) {
            output->pBuffers[1].cbBuffer = static_cast<ULONG>(sizeof alertBytes);
            output->pBuffers[1].pvBuffer = alertBytes;
        }
    }

    std::map<char*, std::unique_ptr<char[]>> tokens; // not freed yet
    char alertBytes[7] = {21, 3, 3, 0, 2, 2, 40};

public:
    std::unique_ptr<SecureSocketRecord> record; // the first to go: its end is scripted above
};

} // namespace VexaSsl::test
