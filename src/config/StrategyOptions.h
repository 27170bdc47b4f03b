// The three options that decide which strategies a connection has, as typed fields.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"

#include <string>

namespace VexaSsl {

class StrategyOptions {
public:
    // Reads all three, then checks them in order. Throws std::out_of_range("invalid configuration")
    // after an Error line for the first invalid one. No default replaces an invalid value.
    StrategyOptions(ILog& log, const IConfig& config);

private:
    // Each returns false, after an Error line, for an invalid value.
    bool checkUseEncryption();
    bool checkInjectLogLayers();
    bool checkMinimumSeverityToLog();

    // Compatibility: field-order
    ILog& log;
    std::wstring useEncryptionText;
    std::wstring injectLogLayersText;
    std::wstring minimumSeverityToLogText;

public:
    bool useEncryption = false;
    bool injectLogLayers = false;
    bool opportunistic = false; // with useEncryption: from startOtls on
    Severity minimumSeverity = Severity::Info;
};

} // namespace VexaSsl
