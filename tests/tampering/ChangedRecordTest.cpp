// Bytes of records changed in transit, with every receiving operation and cipher suite. A host gets
// what precedes the change and nothing after it.
#include "tampering/RecordStream.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

constexpr std::array<unsigned char, 3> patterns = {0x01, 0x80, 0xFF};

using ChangedRecord = RecordStream;

TEST_F(ChangedRecord, changedByteOfRecordIsNeverAccepted) {
    Sampler sampler = sampleEvery(29);
    forEachSetup([&](const ConnectionSetup& setup, const Path& path) {
        const std::size_t size = sizeOfRecord(setup);
        for (std::size_t at = 0; at < size; ++at) {
            for (const unsigned char pattern : patterns) {
                if (!sampler.selectsNext()) {
                    continue;
                }
                TamperedConnection connection(setup);
                ASSERT_TRUE(connection.established());
                std::vector<Bytes> records = makeStream(connection);
                ASSERT_EQ(records[1].size(), size);
                records[1][at] ^= pattern;
                deliverAndCheck(connection, path, records, 1,
                                describe(setup, path) + "byte " + std::to_string(at) +
                                    " changed by " + std::to_string(pattern),
                                at >= headerSize);
            }
        }
    });
    tally.report(row, "bytes flipped, both roles, " + std::to_string(allSuites().size()) +
                          " suites, " + std::to_string(allPaths().size()) + " ways to receive");
}

// Every value of the type and version bytes, and a selection of lengths.
TEST_F(ChangedRecord, changedHeaderIsNeverAccepted) {
    Sampler sampler = sampleEvery(23);
    std::vector<std::size_t> lengths = {255,   256,   304,   1000,  16383, 16384,
                                        16385, 16408, 18432, 18433, 32768, 65535};
    for (std::size_t length = 0; length < 100; ++length) {
        lengths.push_back(length);
    }
    const auto tryHeader = [&](const ConnectionSetup& setup, const Path& path, std::size_t at,
                               std::size_t value) {
        if (!sampler.selectsNext()) {
            return;
        }
        TamperedConnection connection(setup);
        ASSERT_TRUE(connection.established());
        std::vector<Bytes> records = makeStream(connection);
        const Bytes before = records[1];
        records[1][at] = static_cast<unsigned char>(value & 0xFF);
        if (at == 3) {
            records[1][3] = static_cast<unsigned char>(value >> 8);
            records[1][4] = static_cast<unsigned char>(value & 0xFF);
        }
        if (records[1] != before) {
            deliverAndCheck(connection, path, records, 1,
                            describe(setup, path) + "byte " + std::to_string(at) + " is " +
                                std::to_string(value),
                            false);
        }
    };
    for (const std::string& suite : allSuites()) {
        if (!ConnectionSetup{.suite = suite}.elliptic()) {
            continue; // the type of the server's key doesn't affect records
        }
        for (const bool asServer : {true, false}) {
            const ConnectionSetup setup{.asServer = asServer, .suite = suite};
            for (const std::size_t number : {0U, 5U}) {
                const Path& path = allPaths()[number];
                for (std::size_t value = 0; value < 256; ++value) {
                    for (const std::size_t at : {0U, 1U, 2U}) {
                        tryHeader(setup, path, at, value);
                    }
                }
                for (const std::size_t length : lengths) {
                    tryHeader(setup, path, 3, length);
                }
            }
        }
    }
    tally.report(row, "types, versions and lengths set to other values");
}

// A record of the maximum size, to cover every block of it.
TEST_F(ChangedRecord, changedByteOfLargeRecordIsNeverAccepted) {
    constexpr std::size_t distance = 61;
    Sampler sampler = sampleEvery(43);
    const std::string large(16384, 'L');
    for (const std::string& suite : allSuites()) {
        for (std::size_t at = headerSize; at < large.size() + headerSize; at += distance) {
            for (const bool asServer : {true, false}) {
                if (!sampler.selectsNext()) {
                    continue;
                }
                const ConnectionSetup setup{.asServer = asServer, .suite = suite};
                TamperedConnection connection(setup);
                ASSERT_TRUE(connection.established());
                Bytes record = connection.record(large);
                record[at] ^= 0x01;
                deliverAndCheck(connection, allPaths()[0], {record}, 0,
                                setup.describe() + ", byte " + std::to_string(at) +
                                    " of a large record");
            }
        }
    }
    tally.report(row, "bytes flipped in records of 16,384, one in " + std::to_string(distance));
}

} // namespace
} // namespace VexaSsl::test
