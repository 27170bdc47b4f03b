// The three options that decide the shape of a stack, as typed fields. It lives for one call of
// instantiateSocketStrategy; the log is borrowed.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"

#include <string>

namespace VexaSsl {

class StrategyOptions {
public:
    // Reads all three, then checks them in order. Throws std::out_of_range("invalid configuration")
    // at the first bad one, which is the only one that the log tells of. Nothing is defaulted here.
    StrategyOptions(ILog& logSink, const IConfig& config);

private:
    // Each gives false, with an Error line, for a bad value.
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
    bool opportunistic = false; // with useEncryption: only when the host starts it
    Severity minimumSeverity = Severity::Info;
};

} // namespace VexaSsl
