#include "strategies/Assembly.h"

#include "VexaSsl/VexaSsl.h"
#include "config/StrategyOptions.h"
#include "secure/SecureSocketStrategy.h"
#include "strategies/LogSocketStrategy.h"
#include "strategies/SometimesSecureSocketStrategy.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <memory>
#include <utility>

namespace VexaSsl {

namespace {

// Directly above the sockets, encrypted or not.
constexpr const wchar_t* wireLabel = L"Encryption Layer";
// Above an encrypting strategy.
constexpr const wchar_t* hostLabel = L"Application Layer";

std::unique_ptr<ISocketStrategy> logged(ILog& log, std::unique_ptr<ISocketStrategy> stack,
                                        const wchar_t* label) {
    return std::make_unique<LogSocketStrategy>(log, std::move(stack), label);
}

std::unique_ptr<ISocketStrategy> secured(ILog& log, const IConfig& config, bool opportunistic,
                                         std::unique_ptr<ISocketStrategy> stack) {
    if (opportunistic) {
        return std::make_unique<SometimesSecureSocketStrategy>(log, config, std::move(stack));
    }
    return std::make_unique<SecureSocketStrategy>(log, config, std::move(stack));
}

} // namespace

std::unique_ptr<ISocketStrategy> assembleStrategies(ILog& log, const IConfig& config,
                                                    std::unique_ptr<ISocketStrategy> sockets) {
    const StrategyOptions options(log, config);
    log.setMinimumSeverity(options.minimumSeverity); // stays if the rest fails
    std::unique_ptr<ISocketStrategy> stack = std::move(sockets);
    if (options.injectLogLayers) {
        stack = logged(log, std::move(stack), wireLabel);
    }
    if (!options.useEncryption) {
        return stack; // also on a system without the security package
    }
    stack = secured(log, config, options.opportunistic, std::move(stack));
    return options.injectLogLayers ? logged(log, std::move(stack), hostLabel) : std::move(stack);
}

std::unique_ptr<ISocketStrategy> instantiateSocketStrategy(ILog& log, const IConfig& config) {
    return assembleStrategies(log, config, std::make_unique<UnsecureSocketStrategy>(log));
}

} // namespace VexaSsl
