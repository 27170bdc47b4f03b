#include "target/TargetSockets.h"

#include "strategies/Assembly.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace VexaSsl::tool {

namespace {

class TargetSockets : public UnsecureSocketStrategy {
public:
    TargetSockets(ILog& log, std::string host, HandshakeWatch& watch)
        : UnsecureSocketStrategy(log), host(std::move(host)), watch(watch) {}

    int recv(SOCKET s, char* buf, int len, int flags) noexcept override {
        const int count = UnsecureSocketStrategy::recv(s, buf, len, flags);
        if (count > 0) {
            watch.received({buf, static_cast<std::size_t>(count)});
        }
        return count;
    }

    int getaddrinfo(const char*, const char* servname, const addrinfo* hints,
                    addrinfo** res) noexcept override {
        return UnsecureSocketStrategy::getaddrinfo(host.c_str(), servname, hints, res);
    }

private:
    const std::string host;
    HandshakeWatch& watch;
};

} // namespace

std::unique_ptr<ISocketStrategy> makeTargetStrategy(ILog& log, const IConfig& config,
                                                    const std::string& host,
                                                    HandshakeWatch& watch) {
    return assembleStrategies(log, config, std::make_unique<TargetSockets>(log, host, watch));
}

} // namespace VexaSsl::tool
