// Bytes of records changed on their way, in every way to receive, with every suite. A host gets
// what came before the change and nothing behind it.
#include "tampering/RecordStream.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

constexpr std::array<unsigned char, 3> patterns = {0x01, 0x80, 0xFF};

using ChangedRecord = RecordStream;

TEST_F(ChangedRecord, aChangedByteOfARecordIsNeverTaken) {
    Thinning thinning(29);
    inEachSetting([&](const Casting& casting, const Path& path) {
        const std::size_t size = sizeOfRecord(casting);
        for (std::size_t at = 0; at < size; ++at) {
            for (const unsigned char pattern : patterns) {
                if (!thinning.takesNext()) {
                    continue;
                }
                Scene scene(casting);
                ASSERT_TRUE(scene.established());
                std::vector<Bytes> records = makeStream(scene);
                ASSERT_EQ(records[1].size(), size);
                records[1][at] ^= pattern;
                judge(scene, path, records, 1,
                      describe(casting, path) + "byte " + std::to_string(at) + " changed by " +
                          std::to_string(pattern),
                      at >= headerSize);
            }
        }
    });
    tally.tell(row, "bytes flipped, both roles, " + std::to_string(allSuites().size()) +
                        " suites, " + std::to_string(allPaths().size()) + " ways to receive");
}

// Every value of the bytes of type and version, and lengths of all kinds.
TEST_F(ChangedRecord, aHeaderOfAnyOtherValueIsNeverTaken) {
    Thinning thinning(23);
    std::vector<std::size_t> lengths = {255,   256,   304,   1000,  16383, 16384,
                                        16385, 16408, 18432, 18433, 32768, 65535};
    for (std::size_t length = 0; length < 100; ++length) {
        lengths.push_back(length);
    }
    const auto tryHeader = [&](const Casting& casting, const Path& path, std::size_t at,
                               std::size_t value) {
        if (!thinning.takesNext()) {
            return;
        }
        Scene scene(casting);
        ASSERT_TRUE(scene.established());
        std::vector<Bytes> records = makeStream(scene);
        const Bytes before = records[1];
        records[1][at] = static_cast<unsigned char>(value & 0xFF);
        if (at == 3) {
            records[1][3] = static_cast<unsigned char>(value >> 8);
            records[1][4] = static_cast<unsigned char>(value & 0xFF);
        }
        if (records[1] != before) {
            judge(scene, path, records, 1,
                  describe(casting, path) + "byte " + std::to_string(at) + " is " +
                      std::to_string(value),
                  false);
        }
    };
    for (const std::string& suite : allSuites()) {
        if (!Casting{.suite = suite}.elliptic()) {
            continue; // the key of the server has no part in records
        }
        for (const bool asServer : {true, false}) {
            const Casting casting{.asServer = asServer, .suite = suite};
            for (const std::size_t number : {0U, 5U}) {
                const Path& path = allPaths()[number];
                for (std::size_t value = 0; value < 256; ++value) {
                    for (const std::size_t at : {0U, 1U, 2U}) {
                        tryHeader(casting, path, at, value);
                    }
                }
                for (const std::size_t length : lengths) {
                    tryHeader(casting, path, 3, length);
                }
            }
        }
    }
    tally.tell(row, "types, versions and lengths set to other values");
}

// A record of the largest size, so that no block of it is left unguarded.
TEST_F(ChangedRecord, aChangedByteOfALargeRecordIsNeverTaken) {
    constexpr std::size_t distance = 61;
    Thinning thinning(43);
    const std::string large(16384, 'L');
    for (const std::string& suite : allSuites()) {
        for (std::size_t at = headerSize; at < large.size() + headerSize; at += distance) {
            for (const bool asServer : {true, false}) {
                if (!thinning.takesNext()) {
                    continue;
                }
                const Casting casting{.asServer = asServer, .suite = suite};
                Scene scene(casting);
                ASSERT_TRUE(scene.established());
                Bytes record = scene.record(large);
                record[at] ^= 0x01;
                judge(scene, allPaths()[0], {record}, 0,
                      casting.describe() + ", byte " + std::to_string(at) + " of a large record");
            }
        }
    }
    tally.tell(row, "bytes flipped in records of 16,384, one in " + std::to_string(distance));
}

} // namespace
} // namespace VexaSsl::test
