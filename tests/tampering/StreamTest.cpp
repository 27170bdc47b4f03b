// Whole records omitted, repeated and moved, and streams that end after any byte, with every
// receiving operation and cipher suite.
#include "tampering/RecordStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

using DisorderedStream = RecordStream;
using CutStream = RecordStream;

bool reportsResets() {
    return missingAbility(Ability::reportResets).empty();
}

// A change that a network can make to a stream. apply returns the records that arrive.
struct StreamChange {
    const char* name;
    std::vector<Bytes> (*apply)(TamperedConnection&, std::vector<Bytes>, std::size_t at);
};

std::vector<Bytes> drop(TamperedConnection&, std::vector<Bytes> records, std::size_t at) {
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(at));
    return records;
}

std::vector<Bytes> insertAfter(std::vector<Bytes> records, std::size_t at, const Bytes& record) {
    records.insert(records.begin() + static_cast<std::ptrdiff_t>(at) + 1, record);
    return records;
}

std::vector<Bytes> repeat(TamperedConnection&, std::vector<Bytes> records, std::size_t at) {
    const Bytes again = records[at];
    return insertAfter(std::move(records), at, again);
}

std::vector<Bytes> repeatFirst(TamperedConnection&, std::vector<Bytes> records, std::size_t at) {
    const Bytes again = records[0];
    return insertAfter(std::move(records), at, again);
}

std::vector<Bytes> swapWithNext(TamperedConnection&, std::vector<Bytes> records, std::size_t at) {
    if (at + 1 < records.size()) {
        std::swap(records[at], records[at + 1]);
    }
    return records;
}

std::vector<Bytes> moveToEnd(TamperedConnection&, std::vector<Bytes> records, std::size_t at) {
    std::rotate(records.begin() + static_cast<std::ptrdiff_t>(at),
                records.begin() + static_cast<std::ptrdiff_t>(at) + 1, records.end());
    return records;
}

// The record with the same sequence number that the side under test sent itself.
std::vector<Bytes> reflect(TamperedConnection& connection, std::vector<Bytes> records,
                           std::size_t at) {
    Bytes own;
    for (std::size_t i = 0; i <= at; ++i) {
        connection.wire.collect();
        connection.send(textOfRecord(i));
        own = connection.wire.collect();
    }
    records[at] = own;
    return records;
}

// The record with the same sequence number of another connection.
std::vector<Bytes> replayFormer(TamperedConnection& connection, std::vector<Bytes> records,
                                std::size_t at) {
    TamperedConnection former(connection.connectionSetup());
    records[at] = makeStream(former)[at];
    return records;
}

// The halves of two records under one header.
std::vector<Bytes> splice(TamperedConnection&, std::vector<Bytes> records, std::size_t at) {
    if (at + 1 < records.size()) {
        const std::size_t half = records[at].size() / 2;
        records[at] = part(records[at], 0, half) + part(records[at + 1], half);
    }
    return records;
}

constexpr std::array<StreamChange, 8> streamChanges = {
    {{"dropped", drop},
     {"repeated", repeat},
     {"followed by the first one again", repeatFirst},
     {"swapped with the next", swapWithNext},
     {"moved to the end", moveToEnd},
     {"replaced by our own", reflect},
     {"replaced by a former connection's", replayFormer},
     {"grafted", splice}}};

TEST_F(DisorderedStream, reorderedStreamIsDeliveredUpToTheFirstChange) {
    Sampler sampler = sampleEvery(41);
    forEachSetup([&](const ConnectionSetup& setup, const Path& path) {
        constexpr std::size_t length = 6;
        for (const StreamChange& streamChange : streamChanges) {
            for (std::size_t at = 0; at < length; ++at) {
                if (!sampler.selectsNext()) {
                    continue;
                }
                TamperedConnection connection(setup);
                ASSERT_TRUE(connection.established());
                const std::vector<Bytes> records = makeStream(connection, length);
                const std::vector<Bytes> sent = streamChange.apply(connection, records, at);
                if (sent == records) {
                    continue; // the last record has no next one
                }
                const auto common =
                    std::mismatch(records.begin(), records.end(), sent.begin(), sent.end()).first;
                deliverAndCheck(connection, path, sent,
                                static_cast<std::size_t>(common - records.begin()),
                                describe(setup, path) + "record " + std::to_string(at) + " " +
                                    streamChange.name);
            }
        }
    });
    tally.report(row, "records dropped, repeated, swapped, moved, reflected, replayed, grafted");
}

// A closed connection is the same as the peer's own end of the stream: no failure and no line. The
// host's protocol must say when everything has arrived.
TEST_F(CutStream, streamClosedAfterAnyByteGivesItsWholeRecordsAndNoLine) {
    Sampler sampler = sampleEvery(31);
    forEachSetup([&](const ConnectionSetup& setup, const Path& path) {
        const std::size_t size = 3 * sizeOfRecord(setup);
        for (std::size_t k = 0; k < size; ++k) {
            if (!sampler.selectsNext()) {
                continue;
            }
            TamperedConnection connection(setup);
            ASSERT_TRUE(connection.established());
            const std::vector<Bytes> records = makeStream(connection, 3);
            const std::size_t whole = k / records[0].size();
            connection.deliver(portioned({part(joined(records), 0, k)}));
            const ReceivedData received = path.receive(connection);
            std::string fault = faultOfText(received, path, textOfFirst(whole));
            if (fault.empty()) {
                fault = faultOfLines(connection, path, Reaction::nothing);
            }
            if (fault.empty() && received.ends != std::vector<int>{0, 0, 0}) {
                fault = "an end that isn't 0";
            }
            tally.note(fault, describe(setup, path) + "cut at " + std::to_string(k));
        }
    });
    tally.report(row, "streams closed after every byte");
}

// Describes what is wrong with the data received before the connection failed. Only a call that
// waits for all loses data: its own.
std::string faultOfFailedRead(const ReceivedData& received, const Path& path,
                              const std::string& good) {
    const bool partLost = path.waitsForAll && received.text.empty() && received.beyond == good;
    if (!partLost && (received.text != good || !received.beyond.empty())) {
        return "text [" + received.text + "] beyond [" + received.beyond + "]";
    }
    return received.ends.front() == SOCKET_ERROR ? "" : "the first end is no failure";
}

TEST_F(CutStream, streamResetOrSilentAfterAnyByteFailsTheNextRead) {
    Sampler sampler = sampleEvery(53);
    forEachSetup([&](const ConnectionSetup& setup, const Path& path) {
        const std::size_t size = 2 * sizeOfRecord(setup);
        for (std::size_t k = 0; k < size; ++k) {
            for (const Ending ending : {Ending::reset, Ending::silence}) {
                const bool isReset = ending == Ending::reset;
                if (!(isReset ? reportsResets() : path.endsAtTimeOut) || !sampler.selectsNext()) {
                    continue;
                }
                TamperedConnection connection(setup);
                ASSERT_TRUE(connection.established());
                if (!isReset) {
                    limitReceiving(connection.socket(), shortTimeoutMilliseconds);
                }
                const std::vector<Bytes> records = makeStream(connection, 3);
                connection.deliver(portioned({part(joined(records), 0, k)}), ending);
                const ReceivedData received = path.receive(connection);
                std::string fault = faultOfLines(connection, path, Reaction::nothing);
                if (fault.empty()) {
                    fault = faultOfFailedRead(received, path, textOfFirst(k / records[0].size()));
                }
                tally.note(fault, describe(setup, path) + (isReset ? "reset" : "silent") +
                                      " after " + std::to_string(k));
            }
        }
    });
    tally.report(row, "streams reset or silent after every byte");
}

} // namespace
} // namespace VexaSsl::test
