// Finds lines of a configuration that are never read or that mean something else than intended:
// misspelt names, sections that no connection uses.
//
// Stateless; any thread.
#pragma once

#include "check/CheckFindings.h"
#include "check/ParsedFile.h"

#include <optional>
#include <string>

namespace VexaSsl::tool {

// Returns the option of a store that was probably meant; nothing when no name is near.
std::optional<std::wstring> nearestOption(const std::wstring& name);

// Returns "; did you mean [NAME]?" for a connection of the store with a similar name, or nothing.
std::string suggestedConnection(const ParsedFile& store, const std::wstring& name);

// Checks the section of an ini file that names the store.
void findUnreadInIniSection(const ParsedFile& ini, FindingList& findings);

// Checks the connection names of a store and their sections. isIniFileToo: the section that names a
// store is in use.
void findUnreadInStore(const ParsedFile& store, bool isIniFileToo, FindingList& findings);

} // namespace VexaSsl::tool
