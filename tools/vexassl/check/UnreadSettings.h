// What the lines of a configuration say that nobody will ever read, or that means something else
// than its writer had in mind: names with a slip of the pen, sections that no connection uses.
//
// Stateless; any thread.
#pragma once

#include "check/CheckFindings.h"
#include "check/ParsedFile.h"

#include <optional>
#include <string>

namespace VexaSsl::tool {

// The option of a store that the name was probably meant to be; empty when none is near.
std::optional<std::wstring> nearestOption(const std::wstring& name);

// The section of an ini file that points to the store.
void findUnreadInIniSection(const ParsedFile& ini, FindingList& findings);

// The connection names of a store and the sections they lead to. isIniFileToo: its section that
// points to a store is then in use.
void findUnreadInStore(const ParsedFile& store, bool isIniFileToo, FindingList& findings);

} // namespace VexaSsl::tool
