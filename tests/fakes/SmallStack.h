// Runs a part of a test on a thread with a stack of 256 KiB, or 1 MiB with the address sanitizer,
// whose frames are larger: too small for anything that recurses for each character.
#pragma once

#include <functional>

namespace VexaSsl::test {

// Returns after work.
void runOnSmallStack(const std::function<void()>& work);

} // namespace VexaSsl::test
