// The texts of error codes and security statuses. Any thread.
#pragma once

#include "BaseShapes.h"

namespace VexaSsl::linux {

// Returns one line without a line end; null for a code that has no text.
const wchar_t* errorText(DWORD code) noexcept;

} // namespace VexaSsl::linux
