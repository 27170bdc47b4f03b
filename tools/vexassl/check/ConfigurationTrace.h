// Observes a start's reading of its configuration, from the ini file to the store, and records the
// origin of every value and what is wrong with both files.
//
// Threads: nothing is shared.
#pragma once

#include "check/CheckFindings.h"
#include "check/ParsedFile.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace VexaSsl::tool {

class ConfigurationTrace : public IConfigurationObserver {
public:
    // Throws std::runtime_error for a path that isn't a file: a folder reads like an empty file,
    // and a device may have no end. The reading then ends as for a file that can't be opened.
    void readingFile(const std::filesystem::path& path) override;
    void readLine(const ReadLine& line) override;
    void valueRequested(const std::wstring& section, const std::wstring& key,
                        const std::wstring& value) override;

    // Null when the reading ended before.
    const ParsedFile* iniFile() const { return files.empty() ? nullptr : &files[0]; }
    const ParsedFile* storeFile() const { return files.size() < 2 ? nullptr : &files[1]; }

    // The file that was read last; called only when there is one.
    const ParsedFile& lastFile() const { return files.back(); }

    // The place of a value that a start used; without a file there is none.
    struct Origin {
        std::string file; // printable
        std::wstring section;
        std::size_t line = 0;
    };
    Origin storePath() const;    // the line of the ini file that names the store
    Origin entry() const;        // the line of the store that names the section
    bool isDefaultEntry() const; // of the name Default, because the connection has none
    const std::wstring& section() const { return sectionName; } // empty: no section was read
    Origin option(const std::wstring& name) const;

    // What the last path is instead of a readable file, "is a directory"; else empty.
    const std::string& unfitness() const { return unfit; }

    // The findings of both files. lastFileWasRead: without it the settings of the store can't be
    // checked.
    Findings findings(bool lastFileWasRead) const;

private:
    Origin origin(const ParsedFile* file, const std::wstring& section,
                  const std::wstring& key) const;
    bool isWorkingPath(const Finding& finding) const;
    FindingList iniFindings(bool isStoreToo) const;

    std::vector<ParsedFile> files; // the ini file, then the store
    std::wstring sectionName;
    std::wstring entryName;
    std::size_t entriesAsked = 0;
    std::string unfit;
};

} // namespace VexaSsl::tool
