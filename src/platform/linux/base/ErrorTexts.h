// The texts of error numbers and security statuses. Any thread.
#pragma once

#include "BaseShapes.h"

namespace VexaSsl::linux {

// One line without an end, or null for a number that has no text.
const wchar_t* errorText(DWORD code) noexcept;

} // namespace VexaSsl::linux
