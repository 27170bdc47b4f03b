// What the parser made of one file: where each section and key stands, and every line that the
// format drops or takes otherwise than it looks. The parser itself says what a line means; here it
// is only put into words.
//
// Threads: none of this is shared.
#pragma once

#include "check/CheckFindings.h"
#include "config/IConfigurationObserver.h"
#include "config/OptionMap.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace VexaSsl::tool {

// A text out of a file for a message: in brackets, printable, cut when it is long.
std::string quotedFileText(std::wstring_view text);

class ParsedFile {
public:
    template <typename Value>
    using ByName =
        std::unordered_map<std::wstring, Value, CaseInsensitiveHash, CaseInsensitiveEqual>;
    struct Entry {
        std::size_t line;
        std::wstring name; // as written
        std::wstring value;
    };
    struct Section {
        std::size_t line; // of the header that counts, the last one
        std::wstring name;
        ByName<Entry> entries;
    };

    // onlySection: the one section that is read of this file, so that the others are nobody's
    // business; empty when all are.
    ParsedFile(std::filesystem::path file, std::wstring onlySection);

    void readLine(const ReadLine& line);

    // Everything found in the lines so far.
    FindingList findings() const;

    const std::filesystem::path& path() const { return file; }
    // Printable.
    std::string name() const;
    // Null when the file has none. The section without a name is none here.
    const Section* findSection(const std::wstring& section) const;
    const Entry* findEntry(const std::wstring& section, const std::wstring& key) const;
    // In the order of their headers.
    std::vector<const Section*> allSections() const;

private:
    // Where the last header stands, and the blank line that ended its section.
    struct Place {
        std::size_t headerLine = 0;
        std::wstring header;
        std::size_t blankLine = 0;
        bool blankTold = false;
    };
    struct Region {
        std::size_t firstLine;
        bool matters;
    };

    void noteDropped(const ReadLine& line);
    void noteHeader(const ReadLine& line);
    void noteKeyAndValue(const ReadLine& line);
    void noteKeyOutside(const ReadLine& line);
    void noteBlanksAround(const ReadLine& line);
    void noteCharacters(const ReadLine& line);
    void add(std::size_t line, const std::string& id, const std::string& text);
    bool matters(std::size_t line) const;

    std::filesystem::path file;
    std::wstring onlySection;
    ByName<Section> sections;
    Place place;
    std::vector<Region> regions; // by the headers, in order
    FindingList found;
};

} // namespace VexaSsl::tool
