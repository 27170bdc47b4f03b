// Validates a chain: by the library as client and as server, over memory with an OpenSSL peer that
// sends the chain, and by the openssl command.
//
// Not thread-safe.
#pragma once

#include "chains/Chain.h"
#include "fakes/CollectingLog.h"

#include "CryptoShapes.h"
#include "SecurityShapes.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// The expected outcome of a chain.
struct ExpectedOutcome {
    SECURITY_STATUS clientStatus = SEC_E_OK; // of a client's handshake
    DWORD chainStatus = 0;                   // of a server's validation
    std::string element = {};                // the certificate at fault
    SECURITY_STATUS handshake = SEC_E_OK;    // of a server's handshake

    bool isGood() const { return clientStatus == SEC_E_OK; }
    bool isGoodClient() const { return chainStatus == 0 && handshake == SEC_E_OK; }
};

struct HandshakeOutcome {
    bool accepted = false;             // by the library
    bool peerFinished = false;         // the peer completed the handshake
    std::vector<LogLine> lines = {};   // from Info upwards
    std::vector<LogLine> details = {}; // the Debug lines
};

// Widens each byte.
std::wstring wide(const std::string& text);

// The library as a client that connects to target.
HandshakeOutcome validatedByClient(const PresentedChain& presented, const std::wstring& target);
// The status of the chain and the name without a connection, with the other certificates at hand.
DWORD statusOnRequest(const PresentedChain& presented, const std::wstring& target);
std::vector<LogLine> linesOfClient(SECURITY_STATUS status, const std::wstring& target);

// The library as a server that requests a certificate. acceptable: the option's value.
HandshakeOutcome validatedByServer(const PresentedChain& presented,
                                   const std::wstring& acceptable = L"Any");
std::vector<LogLine> linesOfServer(const ExpectedOutcome& expected);
// The lines of a trusted certificate with other names.
std::vector<LogLine> linesOfUnacceptable(const std::vector<std::wstring>& names,
                                         const std::wstring& acceptable);

enum class Purpose { server, client };

struct Verification {
    bool accepted;
    std::string output; // of the command
};

// target: the expected name, or "" for any.
Verification verifiedByOpenSsl(const PresentedChain& presented, Purpose purpose,
                               const std::string& target = "");

// What the personal store reads from a file.
struct Entry {
    int found = 0; // the number of entries
    bool trustedServer = false;
    bool trustedClient = false;
    bool otherEntriesFound = false; // the entry of another file is found
};

Entry readFromStore(const std::string& name, const std::string& content, EVP_PKEY* key);
std::string keyText(EVP_PKEY* key);

} // namespace VexaSsl::test
