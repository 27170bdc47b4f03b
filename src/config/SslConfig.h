// The IConfig of the library: the options of one connection as a flat table of texts, each with a
// default. Nothing is validated here; StrategyOptions and SecureChannelOptions do that.
//
// Threads: getValue on several at once, setValue alone.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "config/ITwoLevelConfig.h"
#include "config/OptionMap.h"

#include <string>

namespace VexaSsl {

class SslConfig : public IConfig {
public:
    // Has the defaults and the ConnectionName.
    SslConfig(ILog& log, const std::wstring& connectionName);

    // Reads the section that source's section Connections names for the connection, or else for
    // Default. A missing option has its default, with a Debug line. Has the defaults if no section
    // is named, and for a reserved name, after two Warnings. source is used only during the call.
    SslConfig(ILog& log, const ITwoLevelConfig& source, const std::wstring& connectionName);

    // Copies the nine options of other, with the default and a Debug line for each that is empty.
    SslConfig(ILog& log, const IConfig& other);

    std::wstring getValue(const std::wstring& key) const override;
    void setValue(const std::wstring& key, const std::wstring& value) override;

private:
    void readSection(const ITwoLevelConfig& source, const std::wstring& sectionName);
    void logDefaulted(const std::wstring& spelledOption, const std::wstring& defaultValue) const;

    ILog& log;
    OptionMap options;
};

} // namespace VexaSsl
