// The cost of records without that of the network: encryption, decryption, and reassembly of data
// whose pieces fit neither records nor buffers.
#include "Secured.h"

#include "VexaPlatform/HostSockets.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>

namespace VexaSsl::bench {

namespace {

constexpr int fullRecord = 16384;
constexpr int batch = 64;
using Buffer = std::array<char, fullRecord>;

// Returns count records of size bytes from the client, the next one for the server last.
std::vector<std::string> makeRecords(int count, int size) {
    static const Buffer data{};
    Secured& client = securedPair().client;
    std::vector<std::string> records;
    client.wire->collects = true;
    for (int i = 0; i < count; ++i) {
        client.wire->collected.clear();
        client.send(data.data(), size);
        records.push_back(client.wire->collected);
    }
    client.wire->collects = false;
    std::reverse(records.begin(), records.end());
    return records;
}

// The server sends and nobody reads; the client's records must all reach the server, in order.
void encrypt(benchmark::State& state) {
    static const Buffer data{};
    const int size = static_cast<int>(state.range(0));
    Secured& server = securedPair().server;
    for (auto step : state) {
        server.send(data.data(), size);
    }
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(encrypt)->Name("encrypt a record/bytes")->Arg(64)->Arg(1024)->Arg(fullRecord);

void decrypt(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    Secured& server = securedPair().server;
    Buffer buffer;
    while (state.KeepRunningBatch(batch)) {
        state.PauseTiming();
        server.wire->pieces = makeRecords(batch, size);
        state.ResumeTiming();
        for (int i = 0; i < batch; ++i) {
            server.recv(buffer.data(), size);
        }
    }
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(decrypt)->Name("decrypt a record/bytes")->Arg(64)->Arg(1024)->Arg(fullRecord);

// Fifteen records of 1 KiB and part of the next one arrive at once; the host reads 1 KiB at a time.
void surplusOfCiphertext(benchmark::State& state) {
    constexpr int size = 1024;
    constexpr int together = 15;
    Secured& server = securedPair().server;
    Buffer buffer;
    while (state.KeepRunningBatch(together + 1)) {
        state.PauseTiming();
        std::string all;
        const std::vector<std::string> records = makeRecords(together + 1, size);
        std::for_each(records.rbegin(), records.rend(),
                      [&](const std::string& record) { all += record; });
        const std::size_t cut = all.size() - size / 2;
        server.wire->pieces = {all.substr(cut), all.substr(0, cut)};
        state.ResumeTiming();
        for (int i = 0; i <= together; ++i) {
            server.recv(buffer.data(), size);
        }
    }
}
BENCHMARK(surplusOfCiphertext)->Name("reassembly: recv of 1 KiB out of 16 records at once");

// A full record arrives; the host reads small portions of it.
void surplusOfPlaintext(benchmark::State& state) {
    const int portion = static_cast<int>(state.range(0));
    const int portions = fullRecord / portion;
    Secured& server = securedPair().server;
    Buffer buffer;
    while (state.KeepRunningBatch(portions)) {
        state.PauseTiming();
        server.wire->pieces = makeRecords(1, fullRecord);
        state.ResumeTiming();
        for (int i = 0; i < portions; ++i) {
            server.recv(buffer.data(), portion);
        }
    }
}
BENCHMARK(surplusOfPlaintext)
    ->Name("reassembly: recv out of a record of 16 KiB/bytes")
    ->Arg(64)
    ->Arg(1024);

void selectWithPlaintext(benchmark::State& state) {
    Secured& server = securedPair().server;
    Buffer buffer;
    server.wire->pieces = makeRecords(1, 2);
    server.recv(buffer.data(), 1);
    fd_set readable{};
    const timeval noTime{};
    for (auto step : state) {
        readable.fd_count = 1;
        readable.fd_array[0] = server.socket;
        if (server.stack->select(0, &readable, nullptr, nullptr, &noTime) != 1) {
            state.SkipWithError("not readable");
        }
    }
    server.recv(buffer.data(), 1);
}
BENCHMARK(selectWithPlaintext)->Name("select with plaintext in hand");

} // namespace

} // namespace VexaSsl::bench
