// Why a chain is or isn't trusted, certificate by certificate. The judge is the library's own, so
// what is said here is what a connection would meet, and its very lines come along.
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
    std::string name;                           // empty: no name is asked for
    std::optional<UtcTime> at;                  // now if there is none
};

// A certificate that was at hand or that the platform added to a chain.
struct KnownCertificate {
    CertificateFacts facts;
    bool wasGiven; // at hand
};

struct ElementVerdict {
    std::size_t certificate; // its place among the known ones
    std::vector<Fault> faults;
};

enum class NameVerdict {
    NotAsked,
    Borne,
    NotBorne,
    NotJudged, // for a graver fault
};

struct PurposeVerdict {
    bool forServer = false;
    bool trusted = false;
    DWORD status = 0; // of the policy
    std::string statusText;
    std::vector<ElementVerdict> elements; // leaf first
    std::vector<Fault> faults;            // of none of the elements
    NameVerdict name = NameVerdict::NotAsked;
    std::optional<Fault> nameFault;
    std::vector<LoggedLine> lines; // what the library logs of it

    bool isGood() const { return trusted && name != NameVerdict::NotBorne; }
};

struct ChainExplanation {
    UtcTime at = 0;
    std::vector<KnownCertificate> certificates; // those at hand first, in their order
    std::vector<PurposeVerdict> purposes;

    // Whether no chain uses the certificate of this place.
    bool isUnused(std::size_t certificate) const;
};

ChainExplanation explainChain(const CertificateChain& chain, const ChainQuestion& question);

} // namespace VexaSsl::tool
