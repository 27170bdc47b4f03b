// Whole records left out, repeated and moved, and streams that break off behind any byte, in every
// way to receive, with every suite.
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

bool canTellResets() {
    return whyNot(Ability::tellResets).empty();
}

// What a network can do to a stream without touching a record. Each gives the records as they come,
// and how many of them are the stream's from its beginning.
struct Mishap {
    const char* name;
    std::vector<Bytes> (*apply)(Scene&, std::vector<Bytes>, std::size_t at);
};

std::vector<Bytes> drop(Scene&, std::vector<Bytes> records, std::size_t at) {
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(at));
    return records;
}

std::vector<Bytes> insertBehind(std::vector<Bytes> records, std::size_t at, const Bytes& record) {
    records.insert(records.begin() + static_cast<std::ptrdiff_t>(at) + 1, record);
    return records;
}

std::vector<Bytes> repeat(Scene&, std::vector<Bytes> records, std::size_t at) {
    const Bytes again = records[at];
    return insertBehind(std::move(records), at, again);
}

std::vector<Bytes> repeatFirst(Scene&, std::vector<Bytes> records, std::size_t at) {
    const Bytes again = records[0];
    return insertBehind(std::move(records), at, again);
}

std::vector<Bytes> swapWithNext(Scene&, std::vector<Bytes> records, std::size_t at) {
    if (at + 1 < records.size()) {
        std::swap(records[at], records[at + 1]);
    }
    return records;
}

std::vector<Bytes> moveToEnd(Scene&, std::vector<Bytes> records, std::size_t at) {
    std::rotate(records.begin() + static_cast<std::ptrdiff_t>(at),
                records.begin() + static_cast<std::ptrdiff_t>(at) + 1, records.end());
    return records;
}

// Sent by the side under test itself, with the same place in the other direction.
std::vector<Bytes> reflect(Scene& scene, std::vector<Bytes> records, std::size_t at) {
    Bytes own;
    for (std::size_t i = 0; i <= at; ++i) {
        scene.wire.collect();
        scene.send(textOfRecord(i));
        own = scene.wire.collect();
    }
    records[at] = own;
    return records;
}

// The record of the same place of another connection.
std::vector<Bytes> replayFormer(Scene& scene, std::vector<Bytes> records, std::size_t at) {
    Scene former(scene.cast());
    records[at] = makeStream(former)[at];
    return records;
}

// Two halves of two records under one header.
std::vector<Bytes> graft(Scene&, std::vector<Bytes> records, std::size_t at) {
    if (at + 1 < records.size()) {
        const std::size_t half = records[at].size() / 2;
        records[at] = part(records[at], 0, half) + part(records[at + 1], half);
    }
    return records;
}

constexpr std::array<Mishap, 8> mishaps = {{{"dropped", drop},
                                            {"repeated", repeat},
                                            {"followed by the first one again", repeatFirst},
                                            {"swapped with the next", swapWithNext},
                                            {"moved to the end", moveToEnd},
                                            {"replaced by our own", reflect},
                                            {"replaced by a former connection's", replayFormer},
                                            {"grafted", graft}}};

TEST_F(DisorderedStream, aStreamInAnotherOrderEndsWhereTheOrderDoes) {
    Thinning thinning(41);
    inEachSetting([&](const Casting& casting, const Path& path) {
        constexpr std::size_t length = 6;
        for (const Mishap& mishap : mishaps) {
            for (std::size_t at = 0; at < length; ++at) {
                if (!thinning.takesNext()) {
                    continue;
                }
                Scene scene(casting);
                ASSERT_TRUE(scene.established());
                const std::vector<Bytes> records = makeStream(scene, length);
                const std::vector<Bytes> sent = mishap.apply(scene, records, at);
                if (sent == records) {
                    continue; // the last one has no next one
                }
                const auto common =
                    std::mismatch(records.begin(), records.end(), sent.begin(), sent.end()).first;
                judge(scene, path, sent, static_cast<std::size_t>(common - records.begin()),
                      describe(casting, path) + "record " + std::to_string(at) + " " + mishap.name);
            }
        }
    });
    tally.tell(row, "records dropped, repeated, swapped, moved, reflected, replayed, grafted");
}

// The stream ends behind any byte. A closed connection looks like the end that the peer meant: no
// failure and no line, so a host must be told by its own protocol that all has come.
TEST_F(CutStream, aStreamClosedBehindAnyByteGivesItsWholeRecordsAndNoLine) {
    Thinning thinning(31);
    inEachSetting([&](const Casting& casting, const Path& path) {
        const std::size_t size = 3 * sizeOfRecord(casting);
        for (std::size_t k = 0; k < size; ++k) {
            if (!thinning.takesNext()) {
                continue;
            }
            Scene scene(casting);
            ASSERT_TRUE(scene.established());
            const std::vector<Bytes> records = makeStream(scene, 3);
            const std::size_t whole = k / records[0].size();
            scene.deliver(portioned({part(joined(records), 0, k)}));
            const Heard heard = path.hear(scene);
            std::string fault = faultOfText(heard, path, textOfFirst(whole));
            if (fault.empty()) {
                fault = faultOfLines(scene, path, Reaction::nothing);
            }
            if (fault.empty() && heard.ends != std::vector<int>{0, 0, 0}) {
                fault = "an end that is none";
            }
            tally.note(fault, describe(casting, path) + "cut at " + std::to_string(k));
        }
    });
    tally.tell(row, "streams closed behind every byte");
}

// What is wrong with what came before the connection failed. Nothing is lost but where a call waits
// for all: what it had by then goes with it.
std::string faultOfFailedRead(const Heard& heard, const Path& path, const std::string& good) {
    const bool partLost = path.waitsForAll && heard.text.empty() && heard.beyond == good;
    if (!partLost && (heard.text != good || !heard.beyond.empty())) {
        return "text [" + heard.text + "] beyond [" + heard.beyond + "]";
    }
    return heard.ends.front() == SOCKET_ERROR ? "" : "the first end is no failure";
}

TEST_F(CutStream, aStreamResetOrSilentBehindAnyByteFailsTheNextRead) {
    Thinning thinning(53);
    inEachSetting([&](const Casting& casting, const Path& path) {
        const std::size_t size = 2 * sizeOfRecord(casting);
        for (std::size_t k = 0; k < size; ++k) {
            for (const Farewell farewell : {Farewell::reset, Farewell::silence}) {
                const bool isReset = farewell == Farewell::reset;
                if (!(isReset ? canTellResets() : path.endsAtTimeOut) || !thinning.takesNext()) {
                    continue;
                }
                Scene scene(casting);
                ASSERT_TRUE(scene.established());
                if (!isReset) {
                    limitReceiving(scene.socket(), shortPatience);
                }
                const std::vector<Bytes> records = makeStream(scene, 3);
                scene.deliver(portioned({part(joined(records), 0, k)}), farewell);
                const Heard heard = path.hear(scene);
                std::string fault = faultOfLines(scene, path, Reaction::nothing);
                if (fault.empty()) {
                    fault = faultOfFailedRead(heard, path, textOfFirst(k / records[0].size()));
                }
                tally.note(fault, describe(casting, path) + (isReset ? "reset" : "silent") +
                                      " behind " + std::to_string(k));
            }
        }
    });
    tally.tell(row, "streams reset or silent behind every byte");
}

} // namespace
} // namespace VexaSsl::test
