// One JSON object on one line, for scripts. Fields keep the order in which they were added; the
// caller adds no name twice. Characters that JSON or a line can't hold are escaped; the others are
// written in UTF-8.
//
// Threads: no lock. Owns its text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

class JsonLine {
public:
    JsonLine& text(std::string_view name, std::u32string_view value);
    JsonLine& text(std::string_view name, std::wstring_view value);
    // Bytes that aren't UTF-8 become U+FFFD.
    JsonLine& text(std::string_view name, std::string_view value);
    JsonLine& text(std::string_view name, const char* value);
    JsonLine& number(std::string_view name, std::int64_t value);
    JsonLine& boolean(std::string_view name, bool value);
    JsonLine& nothing(std::string_view name); // null
    JsonLine& object(std::string_view name, const JsonLine& value);
    JsonLine& list(std::string_view name, const std::vector<std::wstring>& values);
    JsonLine& list(std::string_view name, const std::vector<std::string>& values);
    JsonLine& list(std::string_view name, const std::vector<JsonLine>& values);

    // "{...}", without a line end.
    std::string str() const { return "{" + fields + "}"; }

private:
    void begin(std::string_view name);
    template <typename Values, typename Append>
    JsonLine& appendList(std::string_view name, const Values& values, Append append);

    std::string fields;
};

} // namespace VexaSsl::tool
