// Scripts the security package and the peer of one handshake for tests of the handshake drivers.
//
// The test lists the results of the package and the bytes that arrive; the stage records the
// package's arguments, the receives and sends, and their order. The record has completed an earlier
// handshake and has lost its security context, so that the one stored by the driver can be seen.
#pragma once

#include "fakes/GoodHandshake.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::test {

// One result of the package.
struct PackageStep {
    SECURITY_STATUS status = SEC_E_OK;
    std::string token = {};            // what is to be sent
    std::optional<ULONG> missing = {}; // the second input buffer becomes SECBUFFER_MISSING
    std::optional<ULONG> extra = {};   // the second input buffer becomes SECBUFFER_EXTRA
    bool alert = false;                // the second output buffer holds something
    bool emptyMemory = false;          // both output buffers have memory and the size 0
    bool omitsTokenBuffer = false;     // no output buffer of that type comes back
    bool createsContext = true;        // when it is given the address for a new one
    ULONG attributes = ISC_RET_CONFIDENTIALITY;
};

// The arguments of one call of the package.
struct PackageCall {
    bool hadContext;     // by address
    bool contextWasZero; // by what the address points to
    bool hadNewContext;
    bool hadInput;
    std::string received; // the content of the first input buffer
    bool operator==(const PackageCall&) const = default;
};

class NegotiationStage {
public:
    explicit NegotiationStage(bool isServer, const std::wstring& target = L"peer.test");
    ~NegotiationStage();

    void run();

    // Runs the handshake and returns the text of its exception.
    std::string failure();

    std::vector<LogLine> lines() const;
    bool logged(const LogLine& line) const;
    // The number of tokens that were not freed.
    std::size_t tokensHeld() const;
    // Whether the record is the only owner of the context.
    bool recordHasTheContext();

    const bool isServer;
    std::deque<PackageStep> steps;
    std::deque<std::string> arriving; // one entry for each receive; at the end the peer closes
    int sendLimit = 1 << 20;          // the most that one send takes
    CtxtHandle made{0x51, 0x52};

    GoodHandshake good;
    std::vector<PackageCall> packageCalls;
    std::vector<ULONG> requirements;
    std::vector<std::wstring> targets;
    std::vector<int> receiveLengths; // the length of each receive
    std::string sent;
    std::vector<std::string> events; // call, send, recv, free, break, delete

private:
    void scriptPeer();

    void scriptPackage();

    void checkCommon(CredHandle* credential, ULONG representation, TimeStamp* expiry);

    SECURITY_STATUS answer(CtxtHandle* context, ULONG asks, SecBufferDesc* input,
                           CtxtHandle* created, SecBufferDesc* output, ULONG* attributes);

    static void expectBuffer(const SecBuffer& buffer, ULONG type, bool empty);

    static std::string readInput(const SecBufferDesc* input);

    static void checkOutput(const SecBufferDesc* output);

    static void changeInput(SecBufferDesc* input, const PackageStep& step);

    void fillOutput(SecBufferDesc* output, const PackageStep& step);

    std::map<char*, std::unique_ptr<char[]>> tokens; // not freed yet
    char alertBytes[7] = {21, 3, 3, 0, 2, 2, 40};

public:
    std::unique_ptr<SecureSocketRecord> record; // destroyed first, by the script above
};

} // namespace VexaSsl::test
