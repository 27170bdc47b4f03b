// The failures that the platform's contract allows for each call.
#pragma once

#include "faults/Watch.h"

#include <vector>

namespace VexaSsl::test {

// Returns every failure of such a call.
std::vector<Failure> failuresOf(const SeenCall& call);

// For messages: "send gives -1 with 10054".
std::string describe(Call call, const Failure& failure);

} // namespace VexaSsl::test
