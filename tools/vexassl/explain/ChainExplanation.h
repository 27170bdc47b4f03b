// Why a chain is trusted or not, certificate by certificate. The library's own check decides, so
// the result is that of a connection, with the same log lines.
//
// Plain values once made; any thread.
#pragma once

#include "certificates/CertificateFacts.h"
#include "certificates/UtcTime.h"
#include "common/LogCollector.h"
#include "explain/CertificateFile.h"
#include "explain/ChainFaults.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::tool {

struct ChainQuestion {
    std::vector<bool> purposes = {true, false}; // true: for server authentication
    std::string name;                           // empty: no name is checked
    std::optional<UtcTime> at;                  // now if empty
};

// A certificate that was given or that the platform added to a chain.
struct KnownCertificate {
    CertificateFacts facts;
    bool wasGiven; // not added by the platform
};

struct ElementVerdict {
    std::size_t certificate; // its index among the known ones
    std::vector<Fault> faults;
};

enum class NameVerdict {
    NotAsked,
    Borne,
    NotBorne,
    NotPermitted, // by the name constraints of its issuers
    NotJudged,    // because of a worse fault
};

struct PurposeVerdict {
    bool forServer = false;
    bool trusted = false;
    DWORD status = 0; // of the policy
    std::string statusText;
    std::vector<ElementVerdict> elements; // leaf first
    std::vector<Fault> faults;            // that belong to no element
    NameVerdict name = NameVerdict::NotAsked;
    std::optional<Fault> nameFault;
    std::vector<LoggedLine> lines; // that the library logs

    bool isGood() const { return trusted && !nameFault; }
};

struct ChainExplanation {
    UtcTime at = 0;
    std::vector<KnownCertificate> certificates; // the given ones first, in their order
    std::vector<PurposeVerdict> purposes;

    // Whether no chain uses the certificate with this index.
    bool isUnused(std::size_t certificate) const;
};

ChainExplanation explainChain(const CertificateChain& chain, const ChainQuestion& question);

} // namespace VexaSsl::tool
