// What a check shows: for a person the values on standard output and the findings on standard error
// like a compiler's, for a script everything as lines of JSON on standard output.
#pragma once

#include "EffectiveOptions.h"
#include "Findings.h"
#include "OwnSide.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::tool {

// What was found out, in the order of showing.
struct CheckedConfiguration {
    std::wstring connection;
    std::string iniFile; // as given; empty: none
    ConfigurationTrace trace;
    std::vector<EffectiveOption> options;
    std::string stack; // "tls", "opportunistic", "plain"; empty when a start is refused
    std::vector<OwnSide> sides;
    Findings findings;
};

class CheckReport {
public:
    virtual ~CheckReport() = default;
    virtual void show(const CheckedConfiguration& checked, ExitStatus status) = 0;
};

std::unique_ptr<CheckReport> reportForPeople();
std::unique_ptr<CheckReport> reportForScripts();

} // namespace VexaSsl::tool
