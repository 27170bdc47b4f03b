// What a connection needs before its handshake, a configuration and a certificate; and a log layer
// whose lines are dropped.
#include "Secured.h"

#include "../macro/Certificates.h"

#include "VexaPlatform/Certificates.h"
#include "VexaSsl/Configuration.h"
#include "certificates/CertificateStore.h"
#include "strategies/LogSocketStrategy.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <benchmark/benchmark.h>

#include <array>
#include <fstream>

namespace VexaSsl::bench {

namespace {

void loadStore(benchmark::State& state, const std::string& file) {
    SilentLog log;
    for (auto step : state) {
        benchmark::DoNotOptimize(
            constructSslConfigurationFromSslConfigStore(log, file, L"connection 1"));
    }
}

void storeOfSections(benchmark::State& state) {
    const std::string file = temporaryFolder() + "/sections";
    {
        std::ofstream text(file);
        text << "[Connections]\n";
        for (int i = 1; i <= state.range(0); ++i) {
            text << "connection " << i << "=section " << i << "\n";
        }
        for (int i = 1; i <= state.range(0); ++i) {
            text << "\n[section " << i << "]\nUseEncryption=True\nMinimumSeverityToLog=Warning\n"
                 << "ServerCertificateToSendName=server " << i << "\nInjectLogLayers=False\n";
        }
    }
    loadStore(state, file);
}
BENCHMARK(storeOfSections)
    ->Name("store of sections")
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond);

// Lines of a usual length.
void storeOfBytes(benchmark::State& state) {
    const std::string file = temporaryFolder() + "/bytes";
    {
        std::ofstream text(file);
        text << "[Connections]\nconnection 1=one\n";
        for (int i = 1; text.tellp() < state.range(0); ++i) {
            text << "[section " << i << "]\nUseEncryption=True\n; a comment of some length\n"
                 << "ServerCertificateToSendName=server " << i << ".example\n";
        }
    }
    loadStore(state, file);
}
// Lines near the length limit, each a key and a value.
void storeOfLongLines(benchmark::State& state) {
    const std::string file = temporaryFolder() + "/long";
    {
        std::ofstream text(file);
        for (int i = 1; text.tellp() < state.range(0); ++i) {
            text << std::string(9900, 'k') << i << '=' << std::string(9900, 'v') << "\n";
        }
    }
    loadStore(state, file);
}
BENCHMARK(storeOfBytes)
    ->Name("store of bytes")
    ->Arg(1 << 18)
    ->Arg(1 << 19)
    ->Arg(1 << 20)
    ->Arg(1 << 22)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(storeOfLongLines)
    ->Name("store of long lines/bytes")
    ->Arg(1 << 20)
    ->Unit(benchmark::kMicrosecond);

bool findsOne(const std::wstring& name) {
    SilentLog log;
    const CertificateStore store(log);
    return store.findByName(name).size() == 1;
}

constexpr std::array<int, 4> storeSizes{1, 10, 100, 1000};

std::string storeOf(int size) {
    return temporaryFolder() + "/store-of-" + std::to_string(size);
}

void makeStores() {
    for (const int size : storeSizes) {
        makePersonalStore(storeOf(size), size);
    }
    waitForStableFileTimes();
}

// Opens, searches and closes the store, as each connection does. The files are in the binding's
// cache.
void chooseCertificate(benchmark::State& state) {
    static const bool made = (makeStores(), true);
    const int size = static_cast<int>(state.range(0));
    const std::filesystem::path before = platform::certificateFolder();
    platform::setCertificateFolder(storeOf(size));
    const std::wstring name = L"number " + std::to_wstring(size);
    bool found = made && findsOne(name);
    for (auto step : state) {
        found = findsOne(name) && found;
    }
    platform::setCertificateFolder(before);
    if (!found) {
        state.SkipWithError("not found");
    }
}
BENCHMARK(chooseCertificate)
    ->Name("certificate choice")
    ->ArgsProduct({{storeSizes.begin(), storeSizes.end()}})
    ->Unit(benchmark::kMicrosecond);

class NullStrategy : public UnsecureSocketStrategy {
public:
    using UnsecureSocketStrategy::UnsecureSocketStrategy;
    int send(SOCKET, const char*, int len, int) noexcept override { return len; }
};

// The layer logs at Debug, which is below the usual threshold.
void logLayer(benchmark::State& state) {
    SilentLog log;
    LogSocketStrategy layer(log, std::make_unique<NullStrategy>(log), L"Application Layer");
    ISocketStrategy& stack = layer;
    char data[16384] = {};
    for (auto step : state) {
        benchmark::DoNotOptimize(stack.send(1234, data, sizeof data, 0));
    }
}
BENCHMARK(logLayer)->Name("log layer, send with the line below the threshold");

} // namespace

} // namespace VexaSsl::bench
