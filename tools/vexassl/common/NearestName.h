// The name that a misspelt one probably stands for. Stateless; any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::tool {

// Returns the known name with the fewest changed letters, in any letter case, if at most a third of
// its letters differ. A very long name has none.
std::optional<std::wstring> nearestName(const std::wstring& name,
                                        const std::vector<std::wstring>& known);

} // namespace VexaSsl::tool
