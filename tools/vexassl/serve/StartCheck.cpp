#include "serve/StartCheck.h"

#include "common/ConnectionOptions.h"
#include "config/SecureChannelOptions.h"
#include "secure/ChannelCredentials.h"

#include <stdexcept>

namespace VexaSsl::tool {

namespace {

// A failure that no log line explains may be gone when the first client connects.
void refuseIfExplained(const ToolLog& log) {
    const Diagnosis diagnosis = log.diagnosis();
    if (diagnosis.status() != ExitStatus::Success) {
        throw Failure(diagnosis.status(), causeText(diagnosis));
    }
}

} // namespace

void checkStart(const IConfig& config, bool clientsCanSwitch, LinePrinter& printer) {
    ToolLog log(printer);
    log.silence();
    makeStrategy(log, config);
    if (isPlain(config) || (isOpportunistic(config) && !clientsCanSwitch)) {
        return;
    }
    try {
        const SecureChannelOptions options(log, config);
        const ChannelCredentials credentials(log, true, options);
    } catch (const std::out_of_range&) {
        refuseIfExplained(log);
    } catch (const std::runtime_error&) {
        refuseIfExplained(log);
    }
}

} // namespace VexaSsl::tool
