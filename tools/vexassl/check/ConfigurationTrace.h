// Follows a start's reading of its configuration from the ini file to the store, and tells of every
// value where it comes from and of both files what is wrong with them.
//
// Threads: none of this is shared.
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
    // Throws std::runtime_error for what is no file: a folder reads like an empty file, and a
    // device may have no end. The reading then ends as for a file that can't be opened.
    void readingFile(const std::filesystem::path& path) override;
    void readLine(const ReadLine& line) override;
    void valueRequested(const std::wstring& section, const std::wstring& key,
                        const std::wstring& value) override;

    // Null when the reading didn't come so far.
    const ParsedFile* iniFile() const { return files.empty() ? nullptr : &files[0]; }
    const ParsedFile* storeFile() const { return files.size() < 2 ? nullptr : &files[1]; }

    // The one that was read last; to be asked only when there is one.
    const ParsedFile& lastFile() const { return files.back(); }

    // Where a value that a start took stands; an empty file means nowhere.
    struct Origin {
        std::string file; // printable
        std::wstring section;
        std::size_t line = 0;
    };
    Origin storePath() const;    // the line of the ini file that names the store
    Origin entry() const;        // the line of the store that names the section
    bool isDefaultEntry() const; // which is the one of the name Default, for want of an own one
    const std::wstring& section() const { return sectionName; } // empty: none was looked up
    Origin option(const std::wstring& name) const;

    // What the file read last is instead of a file, "is a directory"; empty when it was fit to
    // read.
    const std::string& unfitness() const { return unfit; }

    // Of both files. lastFileWasRead: without it the settings of the store aren't there to be
    // judged.
    Findings findings(bool lastFileWasRead) const;

private:
    Origin origin(const ParsedFile* file, const std::wstring& section,
                  const std::wstring& key) const;
    FindingList iniFindings(bool isStoreToo) const;

    std::vector<ParsedFile> files; // the ini file, then the store
    std::wstring sectionName;
    std::wstring entryName;
    std::size_t entriesAsked = 0;
    std::string unfit;
};

} // namespace VexaSsl::tool
