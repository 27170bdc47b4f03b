// Prints the result of a check: for a user the values on standard output and the findings on
// standard error in a compiler's format, for a script everything as lines of JSON on standard
// output.
#pragma once

#include "check/ConfigurationCheck.h"
#include "common/ExitStatus.h"

#include <memory>

namespace VexaSsl::tool {

class CheckReport {
public:
    virtual ~CheckReport() = default;
    virtual void show(const CheckedConfiguration& checked, ExitStatus status) = 0;
};

std::unique_ptr<CheckReport> reportForPeople();
std::unique_ptr<CheckReport> reportForScripts();

} // namespace VexaSsl::tool
