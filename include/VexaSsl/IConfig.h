// The settings of one connection: a flat table of option names and values, all text. The options
// that a file can set are listed in the manual vexassl.ini(5), UseEncryption for one; those that
// only a program can set are in VexaSsl/ConfigurationDefinition.h.
//
// Empty text means absent. Values are checked where they are used: a bad one makes
// instantiateSocketStrategy throw, or the first connect or accept fail.
//
// Threads: getValue may run on several threads at once; nothing may run at the same time as
// setValue.
#pragma once

#include <string>

namespace VexaSsl {

// Returned by the functions of VexaSsl/Configuration.h. A host may also implement its own.
class IConfig {
public:
    virtual ~IConfig() = default;

    // Returns the value of the key, or empty text for an unknown key.
    virtual std::wstring getValue(const std::wstring& key) const = 0;

    // Replaces the value of the key or adds the key.
    virtual void setValue(const std::wstring& key, const std::wstring& value) = 0;
};

} // namespace VexaSsl
