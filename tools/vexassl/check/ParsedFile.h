// What the parser read in one file: the place of each section and key, and every line that the
// format drops or reads differently from its look. The parser decides what a line means; here it is
// put into words.
//
// Threads: nothing is shared.
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

// Returns a text from a file for a message: in brackets, printable, truncated when it is long.
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
        std::size_t line; // of the last header, which counts
        std::wstring name;
        ByName<Entry> entries;
    };

    // onlySection: the only section of the file that is read; empty when all are.
    ParsedFile(std::filesystem::path file, std::wstring onlySection);

    void readLine(const ReadLine& line);

    // The findings of the lines so far.
    FindingList findings() const;

    const std::filesystem::path& path() const { return file; }
    // Printable.
    std::string name() const;
    // Null when the file doesn't have it. The section without a name doesn't count.
    const Section* findSection(const std::wstring& section) const;
    const Entry* findEntry(const std::wstring& section, const std::wstring& key) const;
    // In the order of their headers.
    std::vector<const Section*> allSections() const;

private:
    // The last header, and the empty line that ended its section.
    struct Place {
        std::size_t headerLine = 0;
        std::wstring header;
        std::size_t blankLine = 0;
        bool isReported = false;
    };
    struct Region {
        std::size_t firstLine;
        bool matters;
    };

    void noteDropped(const ReadLine& line);
    void noteHeader(const ReadLine& line);
    void noteKeyAndValue(const ReadLine& line);
    void noteKeyOutside(const ReadLine& line);
    void noteSpacesAround(const ReadLine& line);
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
