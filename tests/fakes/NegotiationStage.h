// Plays the package and the peer of one negotiation, step by step, against the drivers of the
// handshakes.
//
// The test lists what the package answers and what arrives from the peer; the stage notes what the
// package was given, what was asked of and sent to the peer, and the order of it all. The record is
// a real one whose own handshake is over; its security context has been dropped, so that what the
// driver leaves there can be seen.
#pragma once

#include "fakes/GoodHandshake.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
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
    explicit NegotiationStage(bool server, const std::wstring& target = L"peer.test");
    ~NegotiationStage();

    void run();

    // The text of the exception that the run ends with.
    std::string failure();

    std::vector<LogLine> lines() const;
    bool logged(const LogLine& line) const;
    // Tokens that the package made and nobody gave back.
    std::size_t tokensHeld() const;
    // The context that the package made has come to the record and is nowhere else.
    bool recordHasTheContext();

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
    std::unique_ptr<SecureSocketRecord> record; // the first to go: its end is scripted above
};

} // namespace VexaSsl::test
