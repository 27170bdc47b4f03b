// In which ways a call may fail, as the contracts of the platform say.
#pragma once

#include "faults/Watch.h"

#include <vector>

namespace VexaSsl::test {

// Every way in which a call like this one may fail.
std::vector<Failure> failuresOf(const SeenCall& call);

// For messages: "send gives -1 with 10054".
std::string describe(Call call, const Failure& failure);

} // namespace VexaSsl::test
