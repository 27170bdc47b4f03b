// The IConfig of the library: the options of one connection as a flat table of texts, each with a
// default. Nothing is validated here; StrategyOptions and SecureChannelOptions do that.
//
// The log is borrowed and must outlive the object. Threads: getValue may run on several at once,
// setValue beside nothing else.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "config/ITwoLevelConfig.h"
#include "config/OptionMap.h"

#include <string>

namespace VexaSsl {

// What the log says when a configuration is unusable and the defaults take its place.
inline constexpr const wchar_t* fallbackNotice = L"Reverting to NO ENCRYPTION";

class SslConfig : public IConfig {
public:
    // The defaults with ConnectionName set. Logs nothing.
    SslConfig(ILog& log, const std::wstring& connectionName);

    // The same, then the options of the section that source's Connections section names for the
    // connection (or else for Default). A reserved name gives two Warnings and the defaults; no
    // section named, the defaults; an option missing in the section, its default and a Debug line.
    // source is needed only during the call.
    SslConfig(ILog& log, const ITwoLevelConfig& source, const std::wstring& connectionName);

    // The defaults, then all nine options of other; a Debug line for each that is empty there.
    // Options under other names are not copied.
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
