// Is notified of each line that is read and each value that is requested: for a tool that shows
// where a value comes from and what is dropped.
//
// Called on the thread that reads. Texts and views are valid during the call. An exception ends the
// reading and reaches the caller.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace VexaSsl {

enum class LineMeaning {
    TooLong,     // dropped
    NoDelimiter, // dropped
    Header,      // opens a section and empties it
    KeyAndValue, // replaces an earlier value of the key
    Blank,       // empty; ends the section
    NoEffect,    // the only delimiter is the first or last unit
};

struct ReadLine {
    std::size_t number; // from 1
    LineMeaning meaning;
    const std::wstring& text;
    std::wstring_view section = {}; // current after the line; empty for dropped lines
    std::wstring_view key = {};     // of a KeyAndValue
    std::wstring_view value = {};
};

class IConfigurationObserver {
public:
    virtual ~IConfigurationObserver() = default;

    // A file is about to be opened; later calls are about this file.
    virtual void readingFile(const std::filesystem::path& path) = 0;

    // Called after the file has been read: for the dropped lines in order, then for the others.
    virtual void readLine(const ReadLine& line) = 0;

    // A value of the file was requested; an empty value means that it is missing.
    virtual void valueRequested(const std::wstring& section, const std::wstring& key,
                                const std::wstring& value) = 0;
};

} // namespace VexaSsl
