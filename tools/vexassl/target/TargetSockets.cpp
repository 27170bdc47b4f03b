#include "target/TargetSockets.h"

#include "strategies/Assembly.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <memory>
#include <string>
#include <utility>

namespace VexaSsl::tool {

namespace {

class TargetSockets : public UnsecureSocketStrategy {
public:
    TargetSockets(ILog& log, std::string host)
        : UnsecureSocketStrategy(log), host(std::move(host)) {}

    int getaddrinfo(const char*, const char* servname, const addrinfo* hints,
                    addrinfo** res) noexcept override {
        return UnsecureSocketStrategy::getaddrinfo(host.c_str(), servname, hints, res);
    }

private:
    const std::string host;
};

} // namespace

std::unique_ptr<ISocketStrategy> makeTargetStrategy(ILog& log, const IConfig& config,
                                                    const std::string& host) {
    return assembleStrategies(log, config, std::make_unique<TargetSockets>(log, host));
}

} // namespace VexaSsl::tool
