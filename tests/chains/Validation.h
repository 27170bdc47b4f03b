// Who judges a chain: the library as client and as server, over memory and with a foreign TLS
// library as the peer that shows the chain, and OpenSSL's own command beside it.
//
// Threads: one at a time.
#pragma once

#include "chains/Chain.h"
#include "fakes/CollectingLog.h"

#include "CryptoShapes.h"
#include "SecurityShapes.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// What is to come of a chain.
struct Answer {
    SECURITY_STATUS shownByServer = SEC_E_OK; // of a client's handshake
    DWORD shownByClient = 0;                  // of a server's judgement, and
    std::string element = {};                 // the name of the certificate at fault
    SECURITY_STATUS handshake = SEC_E_OK;     // of a server's handshake, if that already fails

    bool isGood() const { return shownByServer == SEC_E_OK; }
    bool isGoodClient() const { return shownByClient == 0 && handshake == SEC_E_OK; }
};

struct Judgement {
    bool accepted = false;             // by the library
    bool peerFinished = false;         // the handshake came to its end on the other side, too
    std::vector<LogLine> lines = {};   // from Info upwards
    std::vector<LogLine> details = {}; // the Debug lines
};

// The library is a client that connects to target, a server that shows the chain.
Judgement judgedByClient(const Shown& shown, const std::wstring& target);
std::vector<LogLine> linesOfClient(SECURITY_STATUS status, const std::wstring& target);

// The library is a server that asks for a certificate; acceptable: the option's value.
Judgement judgedByServer(const Shown& shown, const std::wstring& acceptable = L"Any");
std::vector<LogLine> linesOfServer(const Answer& answer);
// A trusted certificate with other names: each, as it is reported.
std::vector<LogLine> linesOfUnacceptable(const std::vector<std::wstring>& names,
                                         const std::wstring& acceptable);

enum class Purpose { server, client };

struct Verification {
    bool accepted;
    std::string output; // of the command
};

// target: "" for none.
Verification verifiedByOpenSsl(const Shown& shown, Purpose purpose, const std::string& target = "");

// What becomes of a file of the personal store.
struct Entry {
    int found = 0; // entries that the file gave
    bool trustedServer = false;
    bool trustedClient = false;
    bool othersAreThere = false; // what lies beside it is found all the same
};

Entry judgedInStore(const std::string& name, const std::string& content, EVP_PKEY* key);
std::string keyText(EVP_PKEY* key);

} // namespace VexaSsl::test
