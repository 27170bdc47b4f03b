// What a connection would send of its own in a role: the certificate that the options choose, and a
// credential built on it and its key. The library's own code chooses and builds, without a peer.
//
// Stateless; any thread.
#pragma once

#include "VexaSsl/IConfig.h"
#include "certificates/CertificateFacts.h"
#include "common/LogCollector.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::tool {

struct CredentialTrial {
    bool isServer = false;
    bool usable = false;
    std::string choice; // "by-name", "any-suitable", "none", "user-interface"
    std::optional<CertificateFacts> certificate;
    std::size_t matches = 0;       // of a choice by name
    std::vector<LoggedLine> lines; // what the library logged
    std::wstring cause;            // of a failure: the Error line with the reason
    std::string reason;            // ": REASON" of a failure, where the Error line doesn't have it
};

// Gets the chosen certificate, which is borrowed for the call.
using OnChosen = std::function<void(PCCERT_CONTEXT)>;

// The values of the configuration must be valid. onChosen may be empty.
CredentialTrial tryCredentials(const IConfig& config, bool isServer, const OnChosen& onChosen = {});

} // namespace VexaSsl::tool
