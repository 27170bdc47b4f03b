// Reads lines of JSON as strictly as a script's reader does: what is no object, has a name twice or
// has anything after it is refused.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::test {

// The fields of an object. Texts are there without quotes and escapes; numbers and words as they
// stand; objects and lists as they stand, read through and found well.
using JsonObject = std::map<std::string, std::string>;

// Throws std::runtime_error, with the line, when it isn't one object.
JsonObject readObject(std::string_view line);
// Every line of a text, each ended by a line feed.
std::vector<JsonObject> readObjects(std::string_view text);
// Those whose type is this.
std::vector<JsonObject> ofType(const std::vector<JsonObject>& objects, const std::string& type);

} // namespace VexaSsl::test
