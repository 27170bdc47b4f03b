// Checks a connection's configuration on this machine: what a start reads, which values the library
// refuses, and which certificates it would use. No network.
//
// Threads: nothing is shared.
#pragma once

#include "certificates/CredentialTrial.h"
#include "check/CheckFindings.h"
#include "check/EffectiveOptions.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

struct CheckOptions {
    std::string iniFile;
    std::string connectionName = "Default";
    std::string certificates;
    std::string role = "both";
    bool requireTls = false;
    bool strict = false;
    bool json = false;
};

// The results, in the order in which they are printed.
struct CheckedConfiguration {
    std::wstring connection;
    std::string iniFile; // as given; empty: none
    ConfigurationTrace trace;
    std::vector<EffectiveOption> options;
    std::string stack; // "tls", "opportunistic", "plain"; empty when a start is refused
    std::vector<CredentialTrial> sides;
    Findings findings;
};

// Throws only when memory runs out: everything wrong is a finding.
CheckedConfiguration checkConfiguration(const CheckOptions& options);

} // namespace VexaSsl::tool
