// Told what is read of a configuration and what is asked of it, while it happens: for a tool that
// shows where a value comes from and what the format drops. A start has none.
//
// Called on the thread that reads, from inside the constructors; texts and views last as long as
// the call. An exception ends the reading and reaches whoever asked for the configuration.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace VexaSsl {

enum class LineMeaning {
    TooLong,     // dropped
    NoDelimiter, // dropped
    Header,      // opens a section, which loses what it had
    KeyAndValue, // replaces an earlier value of the key
    Blank,       // ends the section
    NoEffect,    // nothing on one side of the only delimiter
};

struct ReadLine {
    std::size_t number; // from 1
    LineMeaning meaning;
    const std::wstring& text;
    std::wstring_view section = {}; // in force behind the line; not told of dropped lines
    std::wstring_view key = {};     // of a KeyAndValue
    std::wstring_view value = {};
};

class IConfigurationObserver {
public:
    virtual ~IConfigurationObserver() = default;

    // A file is about to be opened. What follows belongs to it.
    virtual void readingFile(const std::filesystem::path& path) = 0;

    // First the dropped lines in order, when all of the file has been read, then the others in
    // order.
    virtual void readLine(const ReadLine& line) = 0;

    // A value was asked for, of the file read last. Empty: there is none.
    virtual void askedFor(const std::wstring& section, const std::wstring& key,
                          const std::wstring& value) = 0;
};

} // namespace VexaSsl
