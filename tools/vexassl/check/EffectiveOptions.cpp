#include "check/EffectiveOptions.h"

#include "common/LogCollector.h"
#include "common/Text.h"
#include "config/SecureChannelOptions.h"
#include "config/SslConfig.h"
#include "config/StrategyOptions.h"
#include "config/Vocabulary.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

namespace Definition = ConfigurationDefinition;

std::vector<std::wstring> optionNames() {
    return {
        Definition::ConnectionOptions::UseEncryption,
        Definition::ConnectionOptions::RequireClientAuthentication,
        Definition::ConnectionOptions::ServerCertificateToSendName,
        Definition::ConnectionOptions::ClientCertificateToSendName,
        Definition::ConnectionOptions::AcceptableClientCertificateToReceiveNames,
        Definition::ConnectionOptions::MinimumSeverityToLog,
        Definition::ConnectionOptions::InjectLogLayers,
        Definition::InternalOnlyUtilityOptions::ConnectionName,
        Definition::InternalOnlyUtilityOptions::LibraryInvocationPurpose,
    };
}

// Returns the line with which the holder refuses a configuration that has this value and is
// otherwise valid.
template <typename Holder>
std::optional<std::wstring> refusal(const EffectiveOption& option) {
    LogCollector log;
    SslConfig config(log, Definition::Defaults::ConnectionName);
    config.setValue(option.name, option.value);
    try {
        const Holder holder(log, config);
        return std::nullopt;
    } catch (const std::out_of_range&) {
        return log.take().back().text;
    }
}

void addRefusal(Findings& findings, const EffectiveOption& option,
                const std::optional<std::wstring>& line, const std::string& consequence) {
    if (line) {
        findings.push_back({Gravity::Error, "bad-value",
                            printableText(charactersOfFileText(*line)) + ": " + consequence,
                            option.origin.file, option.origin.line, ExitStatus::Usage});
    }
}

} // namespace

std::vector<EffectiveOption> effectiveOptions(const IConfig& config,
                                              const ConfigurationTrace& trace) {
    std::vector<EffectiveOption> options;
    for (const std::wstring& name : optionNames()) {
        EffectiveOption option{name, config.getValue(name), ValueSource::Default,
                               trace.option(name)};
        if (!option.origin.file.empty()) {
            option.source = ValueSource::File;
        } else if (name == Definition::InternalOnlyUtilityOptions::ConnectionName) {
            option.source = ValueSource::Argument;
        }
        options.push_back(option);
    }
    return options;
}

Findings refusedValues(const std::vector<EffectiveOption>& options) {
    Findings findings;
    for (const EffectiveOption& option : options) {
        addRefusal(findings, option, refusal<StrategyOptions>(option), "a start is refused");
        addRefusal(findings, option, refusal<SecureChannelOptions>(option),
                   "every secure connection fails");
    }
    return findings;
}

} // namespace VexaSsl::tool
