// The nine options of a connection as a start has them, and whether the library's own checks accept
// them.
//
// Stateless; any thread.
#pragma once

#include "VexaSsl/IConfig.h"
#include "check/CheckFindings.h"
#include "check/ConfigurationTrace.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

enum class ValueSource { Default, File, Argument };

struct EffectiveOption {
    std::wstring name;
    std::wstring value;
    ValueSource source = ValueSource::Default;
    ConfigurationTrace::Origin origin; // of a File
};

// In a fixed order.
std::vector<EffectiveOption> effectiveOptions(const IConfig& config,
                                              const ConfigurationTrace& trace);

// Returns an Error for each value that the library refuses. A start reports only the first one.
Findings refusedValues(const std::vector<EffectiveOption>& options);

} // namespace VexaSsl::tool
