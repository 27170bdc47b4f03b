// Runs a piece of a test on a thread with a stack as small as a careful host's: 256 KiB. The
// address sanitizer's frames are several times larger than ordinary ones, so the thread has 1 MiB
// under it: still far too little for anything that recurses per character.
#pragma once

#include <functional>

namespace VexaSsl::test {

// Returns when work has ended.
void runOnSmallStack(const std::function<void()>& work);

} // namespace VexaSsl::test
