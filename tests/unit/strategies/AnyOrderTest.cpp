// The operations in random orders, with random arguments, peers and system results, on whole stacks
// in every state: a host's mistake must not crash the process, nor touch memory outside of a
// buffer, nor transfer data on a connection that isn't secured. The seeds are fixed.
#include "unit/strategies/RandomHost.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>

namespace VexaSsl::test {
namespace {

// How a stack gets into its state while the network works.
struct State {
    const char* name;
    const wchar_t* useEncryption;
    bool secured;
    void (*reach)(RandomHost& host, RandomNetwork& network);
};

void PrintTo(const State& state, std::ostream* out) {
    *out << state.name;
}

constexpr State states[] = {
    {"plainNew", L"False", false, [](RandomHost&, RandomNetwork&) {}},
    {"plainConnected", L"False", false, [](RandomHost& host, RandomNetwork&) { host.connect(); }},
    {"tlsNew", L"True", false, [](RandomHost&, RandomNetwork&) {}},
    {"tlsConnected", L"True", true,
     [](RandomHost& host, RandomNetwork&) {
         host.resolve();
         host.connect();
     }},
    {"tlsAccepted", L"True", true, [](RandomHost& host, RandomNetwork&) { host.accept(); }},
    {"tlsBetweenAcceptAndHandshake", L"True", false,
     [](RandomHost& host, RandomNetwork&) { host.acceptEx(); }},
    {"tlsFailed", L"True", false,
     [](RandomHost& host, RandomNetwork& network) {
         network.refusesHandshakes = true;
         host.resolve();
         host.connect();
         network.refusesHandshakes = false;
     }},
    {"tlsClosedByPeer", L"True", true,
     [](RandomHost& host, RandomNetwork& network) {
         host.resolve();
         host.connect();
         network.decryption = SEC_I_CONTEXT_EXPIRED;
         host.receive();
     }},
    {"tlsReceivePending", L"True", true,
     [](RandomHost& host, RandomNetwork&) {
         host.resolve();
         host.connect();
         host.post(true);
         host.post(true);
     }},
    {"otlsNew", L"Opportunistically", false, [](RandomHost&, RandomNetwork&) {}},
    {"otlsInTheClear", L"Opportunistically", false,
     [](RandomHost& host, RandomNetwork&) {
         host.resolve();
         host.connect();
     }},
    {"otlsEncrypted", L"Opportunistically", true,
     [](RandomHost& host, RandomNetwork&) {
         host.resolve();
         host.accept();
         host.startOtls();
     }},
    {"otlsFailed", L"Opportunistically", false,
     [](RandomHost& host, RandomNetwork& network) {
         network.refusesHandshakes = true;
         host.resolve();
         host.connect();
         host.startOtls();
         network.refusesHandshakes = false;
     }},
};

class AnyOrder : public testing::TestWithParam<State> {};

TEST_P(AnyOrder, callsInAnyOrderDoNoHarm) {
    constexpr std::uint32_t sequences = 100;
    constexpr int callsInSequence = 50;
    for (std::uint32_t seed = 0; seed < sequences && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Choices choices(seed);
        RandomNetwork network(choices);
        const bool logLayers = seed % 4 == 3;
        const bool isOtls = GetParam().useEncryption == std::wstring(L"Opportunistically");
        RandomHost host(choices, network, GetParam().useEncryption, logLayers);
        GetParam().reach(host, network);
        EXPECT_EQ(host.isSecured(), GetParam().secured && !(isOtls && logLayers));
        network.misbehaves = true;
        for (int i = 0; i < callsInSequence; ++i) {
            host.callAnything();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(States, AnyOrder, testing::ValuesIn(states),
                         [](const auto& state) { return std::string(state.param.name); });

} // namespace
} // namespace VexaSsl::test
