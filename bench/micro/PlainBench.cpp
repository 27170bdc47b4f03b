// A send through the plain stack compared with the bare call. The program defines its own
// platform::send, which does nothing and replaces the library's.
#include "VexaSsl/Configuration.h"
#include "VexaSsl/VexaSsl.h"
#include "platform/contract/Winsock.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> allocations{0};

} // namespace

// Not inlined: otherwise GCC warns that memory of malloc is freed by another function.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    return memory ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace VexaSsl {

namespace platform {

[[gnu::noinline]] int send(SOCKET s, const char* buf, int len, int flags) {
    benchmark::DoNotOptimize(s);
    benchmark::DoNotOptimize(buf);
    benchmark::DoNotOptimize(flags);
    return len;
}

} // namespace platform

namespace {

class SilentLog : public ILog {
public:
    void log(Severity, const std::wstring&) override {}
    void setMinimumSeverity(Severity) override {}
};

template <typename Call>
void measure(benchmark::State& state, Call call) {
    const char data[64] = {};
    const long before = allocations;
    for (auto step : state) {
        benchmark::DoNotOptimize(call(data, static_cast<int>(sizeof data)));
    }
    state.counters["allocations"] =
        static_cast<double>(allocations - before) / static_cast<double>(state.iterations());
}

void bareCall(benchmark::State& state) {
    measure(state, [](const char* data, int size) { return platform::send(3, data, size, 0); });
}
BENCHMARK(bareCall)->Name("the bare send");

void plainStack(benchmark::State& state) {
    SilentLog log;
    const auto stack =
        instantiateSocketStrategy(log, *constructDefaultSslConfiguration(log, L"benchmark"));
    ISocketStrategy* strategy = stack.get();
    benchmark::DoNotOptimize(strategy);
    measure(state, [&](const char* data, int size) { return strategy->send(3, data, size, 0); });
}
BENCHMARK(plainStack)->Name("plain stack, send");

} // namespace

} // namespace VexaSsl

BENCHMARK_MAIN();
