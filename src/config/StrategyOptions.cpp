#include "config/StrategyOptions.h"

#include "config/OptionChecks.h"
#include "config/Vocabulary.h"

namespace VexaSsl {

namespace Options = ConfigurationDefinition::ConnectionOptions;
namespace Values = ConfigurationDefinition::Values;

StrategyOptions::StrategyOptions(ILog& log, const IConfig& config)
    : log(log), useEncryptionText(config.getValue(Options::UseEncryption)),
      injectLogLayersText(config.getValue(Options::InjectLogLayers)),
      minimumSeverityToLogText(config.getValue(Options::MinimumSeverityToLog)) {
    if (!checkUseEncryption() || !checkInjectLogLayers() || !checkMinimumSeverityToLog()) {
        throwInvalidConfiguration();
    }
}

bool StrategyOptions::checkUseEncryption() {
    if (parseBoolean(useEncryptionText, useEncryption)) {
        return true;
    }
    if (sameWord(useEncryptionText, Values::Opportunistically)) {
        useEncryption = true;
        opportunistic = true;
        return true;
    }
    return refuseValue(log, Options::UseEncryption, useEncryptionText);
}

bool StrategyOptions::checkInjectLogLayers() {
    return parseBoolean(injectLogLayersText, injectLogLayers) ||
           refuseValue(log, Options::InjectLogLayers, injectLogLayersText);
}

bool StrategyOptions::checkMinimumSeverityToLog() {
    if (sameWord(minimumSeverityToLogText, Values::Warning)) {
        minimumSeverity = Severity::Warning;
    } else if (sameWord(minimumSeverityToLogText, Values::Debug)) {
        minimumSeverity = Severity::Debug;
    } else if (!sameWord(minimumSeverityToLogText, Values::Info)) {
        return refuseValue(log, Options::MinimumSeverityToLog, minimumSeverityToLogText);
    }
    return true;
}

} // namespace VexaSsl
