// The settings of one connection: a flat table of option names and values, all text. Names that a
// file can set are those of the manual vexassl.ini(5), UseEncryption for one; those that only a
// program can set are in VexaSsl/ConfigurationDefinition.h. They are matched without regard to
// case.
//
// Empty text means absent. Values are not judged here but where they are used: a bad one makes
// instantiateSocketStrategy throw, or the first connect or accept fail.
//
// Threads: getValue may run on several threads at once, setValue beside nothing else.
#pragma once

#include <string>

namespace VexaSsl {

// Made by a function of VexaSsl/Configuration.h, or a host's own.
class IConfig {
public:
    virtual ~IConfig() = default;

    // The value under the key; empty for an unknown key.
    virtual std::wstring getValue(const std::wstring& key) const = 0;

    // Stores the value, over an existing one or as a new entry.
    virtual void setValue(const std::wstring& key, const std::wstring& value) = 0;
};

} // namespace VexaSsl
