#include "starttls/OtlsSwitch.h"

#include "VexaSsl/IOtlsProvider.h"
#include "common/ConnectionOptions.h"
#include "common/ExitStatus.h"
#include "common/Text.h"
#include "config/Vocabulary.h"

namespace VexaSsl::tool {

void requireSwitchable(const IConfig& config) {
    if (!isOpportunistic(config)) {
        throw Failure(ExitStatus::Usage,
                      "--starttls needs UseEncryption=Opportunistically in the "
                      "configuration of the connection, which says [" +
                          printableText(config.getValue(
                              ConfigurationDefinition::ConnectionOptions::UseEncryption)) +
                          "]");
    }
    // The strategy that can switch would be below the log layer, where a host can't reach it.
    if (hasLogLayers(config)) {
        throw Failure(ExitStatus::Usage,
                      "--starttls needs InjectLogLayers=False: a log layer hides the switch");
    }
}

bool switchToTls(ISocketStrategy& strategy) {
    auto* otls = dynamic_cast<IOtlsProvider*>(&strategy);
    return otls != nullptr && otls->startOtls() == 0;
}

} // namespace VexaSsl::tool
