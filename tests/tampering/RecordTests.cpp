// Records of data changed, left out, repeated, moved and cut on their way, in every way to receive,
// with every suite. Whatever is done, a host gets the bytes before the change and none behind it.
#include "VexaSsl/TextConversion.h"
#include "tampering/Paths.h"
#include "tampering/Sweeping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

const std::string row = "Records flipped, dropped, repeated, swapped, cut";
constexpr std::array<unsigned char, 3> patterns = {0x01, 0x80, 0xFF};
constexpr std::size_t streamLength = 10;
constexpr std::size_t headerSize = 5;

std::string textOfRecord(std::size_t number) {
    return "<record " + std::to_string(number) + " of the stream>"; // the same size for 0 to 9
}

std::vector<Bytes> makeStream(Scene& scene, std::size_t length = streamLength) {
    std::vector<Bytes> records;
    for (std::size_t i = 0; i < length; ++i) {
        records.push_back(scene.record(textOfRecord(i)));
    }
    return records;
}

std::string textOfFirst(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += textOfRecord(i);
    }
    return text;
}

Bytes joined(const std::vector<Bytes>& records) {
    Bytes all;
    for (const Bytes& record : records) {
        all = std::move(all) + record;
    }
    return all;
}

enum class Portions { together, recordByRecord, splitInside, count };

// The same bytes in portions: each is one read of the stack.
std::vector<Bytes> portioned(const std::vector<Bytes>& records, Portions portions) {
    if (portions == Portions::recordByRecord) {
        return records;
    }
    const Bytes all = joined(records);
    if (portions == Portions::together) {
        return {all};
    }
    constexpr std::size_t size = 31; // ends in every part of a record
    std::vector<Bytes> pieces;
    for (std::size_t at = 0; at < all.size(); at += size) {
        pieces.push_back(part(all, at, size));
    }
    return pieces;
}

// How the stack is to take bytes that are no good record.
enum class Reaction {
    line,    // a failure with a line each time
    nothing, // what can't be TLS is dropped without a word, and a part of a record waits for ever
};

Reaction reactionTo(const Bytes& spoiled, std::size_t available) {
    constexpr std::size_t longest = 16384 + 2048;
    const std::size_t payload = static_cast<std::size_t>(spoiled[3]) << 8 | spoiled[4];
    const bool isTls =
        spoiled[0] >= 20 && spoiled[0] <= 23 && spoiled[1] == 3 && payload <= longest;
    return isTls && headerSize + payload <= available ? Reaction::line : Reaction::nothing;
}

constexpr std::array<SECURITY_STATUS, 4> spoiledStatuses = {
    SEC_E_MESSAGE_ALTERED, SEC_E_DECRYPT_FAILURE, SEC_E_ILLEGAL_MESSAGE, SEC_E_INTERNAL_ERROR};

// The line of a failed decryption; exactly that of an altered message if so wanted.
bool tellsOfSpoiledRecord(const LogLine& line, bool altered) {
    const auto tells = [&](SECURITY_STATUS status) {
        return line == failedCall(L"DecryptMessage", static_cast<DWORD>(status));
    };
    return altered ? tells(SEC_E_MESSAGE_ALTERED)
                   : std::any_of(spoiledStatuses.begin(), spoiledStatuses.end(), tells);
}

const LogLine tooFewBytes = {Severity::Warning,
                             L"::WSARecv completed asynchronously, but there were too few bytes "
                             L"transferred [0] to decrypt even a single crypto message"};

// What is wrong with the lines from Warning upwards; empty when they are as documented.
std::string faultOfLines(const Scene& scene, const Path& path, Reaction reaction, bool altered) {
    std::size_t told = 0;
    for (const LogLine& line : scene.log.linesFrom(Severity::Warning)) {
        if (tellsOfSpoiledRecord(line, altered)) {
            ++told;
        } else if (!path.overlapped || !(line == tooFewBytes)) {
            return "unexpected line: " + convertWideToNarrow(line.text);
        }
    }
    return (told > 0) == (reaction == Reaction::line)
               ? ""
               : std::to_string(told) + " lines of a failed decryption";
}

// What is wrong with the text that came, of which good is before the change. accepted counts what
// isn't from there.
std::string faultOfText(const Heard& heard, const Path& path, const std::string& good,
                        std::size_t& accepted) {
    if (!path.severalBuffers) {
        accepted += heard.text == good.substr(0, heard.text.size()) ? 0 : heard.text.size();
        accepted += heard.beyond.size();
        return heard.text == good && heard.beyond.empty()
                   ? ""
                   : "text [" + heard.text + "] beyond [" + heard.beyond + "]";
    }
    // A completion that fails doesn't count what its first buffer has got.
    const bool isPart = good.ends_with(heard.text) && good.find(heard.beyond) != std::string::npos;
    accepted += isPart ? 0 : heard.text.size() + heard.beyond.size();
    return isPart ? "" : "text [" + heard.text + "] beyond [" + heard.beyond + "]";
}

class Records : public ::testing::Test {
protected:
    struct Setting {
        Casting casting;
        const Path& path;
        Portions portions;

        std::string describe() const { return casting.describe() + ", " + path.name; }
    };

    // Runs the work for all suites, roles and paths, with another partition each time.
    template <typename Work>
    static void inEachSetting(Work work) {
        std::size_t turn = 0;
        for (const std::string& suite : allSuites()) {
            for (const bool asServer : {true, false}) {
                for (const Path& path : allPaths()) {
                    const Casting casting{
                        .asServer = asServer, .upgraded = path.upgraded, .suite = suite};
                    work(casting, path, turn);
                }
            }
        }
    }

    static Portions portionsOf(std::size_t& turn) {
        return static_cast<Portions>(turn++ % static_cast<std::size_t>(Portions::count));
    }

    // Delivers the records, of which the first `good` are the stream's, and judges what is heard.
    void judge(Scene& scene, const Path& path, const std::vector<Bytes>& sent, std::size_t good,
               Portions portions, const std::string& place, bool altered = true) {
        Bytes rest;
        for (std::size_t i = good; i < sent.size(); ++i) {
            rest = std::move(rest) + sent[i];
        }
        const Reaction reaction = rest.empty() ? Reaction::nothing : reactionTo(rest, rest.size());
        scene.deliver(portioned(sent, portions));
        const Heard heard = path.hear(scene);
        std::size_t accepted = 0;
        std::string fault = faultOfText(heard, path, textOfFirst(good), accepted);
        if (fault.empty()) {
            fault = faultOfLines(scene, path, reaction, altered);
        }
        tally.accept(accepted);
        tally.note(fault, place);
    }

    Tally tally;
};

TEST_F(Records, aChangedByteOfARecordIsNeverTaken) {
    Thinning thinning(29);
    std::size_t turn = 0;
    inEachSetting([&](const Casting& casting, const Path& path, std::size_t&) {
        std::size_t size = headerSize + 1;
        for (std::size_t at = 0; at < size; ++at) {
            for (const unsigned char pattern : patterns) {
                size = headerSize + textOfRecord(1).size() + 16 +
                       (casting.suite.find("GCM") == std::string::npos ? 0U : 8U);
                if (!thinning.takesNext()) {
                    continue;
                }
                Scene scene(casting);
                ASSERT_TRUE(scene.established());
                std::vector<Bytes> records = makeStream(scene);
                ASSERT_EQ(records[1].size(), size);
                records[1][at] ^= pattern;
                judge(scene, path, records, 1, portionsOf(turn),
                      casting.describe() + ", " + path.name + ", byte " + std::to_string(at) +
                          " changed by " + std::to_string(pattern),
                      at >= headerSize);
            }
        }
    });
    tally.tell(row, "bytes flipped, all suites, roles and ways to receive");
}

// Every value of the bytes of type and version, and lengths of all kinds.
TEST_F(Records, aHeaderOfAnyOtherValueIsNeverTaken) {
    Thinning thinning(23);
    std::size_t turn = 0;
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
            judge(scene, path, records, 1, portionsOf(turn),
                  casting.describe() + ", " + path.name + ", byte " + std::to_string(at) + " is " +
                      std::to_string(value),
                  false);
        }
    };
    for (const std::string& suite : allSuites()) {
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

TEST_F(Records, aStreamInAnotherOrderEndsWhereTheOrderDoes) {
    Thinning thinning(41);
    std::size_t turn = 0;
    inEachSetting([&](const Casting& casting, const Path& path, std::size_t&) {
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
                      portionsOf(turn),
                      casting.describe() + ", " + path.name + ", record " + std::to_string(at) +
                          " " + mishap.name);
            }
        }
    });
    tally.tell(row, "records dropped, repeated, swapped, moved, reflected, replayed, grafted");
}

// A record of the largest size, so that no block of it is left unguarded.
TEST_F(Records, aChangedByteOfALargeRecordIsNeverTaken) {
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
                judge(scene, allPaths()[0], {record}, 0, Portions::together,
                      casting.describe() + ", byte " + std::to_string(at) + " of a large record");
            }
        }
    }
    tally.tell(row, "bytes flipped in records of 16,384, one in " + std::to_string(distance));
}

// The stream ends behind any byte. A closed connection looks like the end that the peer meant: no
// failure and no line, so a host must be told by its own protocol that all has come.
TEST_F(Records, aStreamClosedBehindAnyByteGivesItsWholeRecordsAndNoLine) {
    Thinning thinning(31);
    std::size_t turn = 0;
    inEachSetting([&](const Casting& casting, const Path& path, std::size_t&) {
        std::size_t size = 1;
        for (std::size_t k = 0; k < size; ++k) {
            size = 3 * (headerSize + textOfRecord(0).size() + 16 + 8);
            if (!thinning.takesNext()) {
                continue;
            }
            Scene scene(casting);
            ASSERT_TRUE(scene.established());
            const std::vector<Bytes> records = makeStream(scene, 3);
            const std::size_t whole = k / records[0].size();
            scene.deliver(portioned({part(joined(records), 0, k)}, portionsOf(turn)));
            const Heard heard = path.hear(scene);
            std::size_t accepted = 0;
            std::string fault =
                faultOfText(heard, path, textOfFirst(std::min<std::size_t>(whole, 3)), accepted);
            if (fault.empty()) {
                fault = faultOfLines(scene, path, Reaction::nothing, true);
            }
            if (fault.empty() && heard.ends != std::vector<int>{0, 0, 0}) {
                fault = "an end that is none";
            }
            tally.accept(accepted);
            tally.note(fault,
                       casting.describe() + ", " + path.name + ", cut at " + std::to_string(k));
        }
    });
    tally.tell(row, "streams closed behind every byte");
}

// The first read behind the cut fails with the system's own error. Nothing is lost but where a call
// waits for all: what it had by then goes with it.
TEST_F(Records, aStreamResetOrSilentBehindAnyByteFailsWithTheSystemsError) {
    Thinning thinning(53);
    std::size_t turn = 0;
    inEachSetting([&](const Casting& casting, const Path& path, std::size_t&) {
        const std::size_t size = 2 * (headerSize + textOfRecord(0).size() + 16);
        for (std::size_t k = 0; k < size; ++k) {
            for (const Farewell farewell : {Farewell::reset, Farewell::silence}) {
                const bool limited =
                    !path.overlapped && std::string(path.name) != "select and recv";
                if ((farewell == Farewell::silence && !limited) || !thinning.takesNext()) {
                    continue;
                }
                Scene scene(casting);
                ASSERT_TRUE(scene.established());
                if (farewell == Farewell::silence) {
                    limitReceiving(scene.socket(), shortPatience);
                }
                const std::vector<Bytes> records = makeStream(scene, 3);
                const std::string good = textOfFirst(k / records[0].size());
                scene.deliver(portioned({part(joined(records), 0, k)}, portionsOf(turn)), farewell);
                platform::WSASetLastError(0);
                const Heard heard = path.hear(scene);
                std::string fault = faultOfLines(scene, path, Reaction::nothing, true);
                const bool partLost =
                    path.waitsForAll && heard.text.empty() && heard.beyond == good;
                const bool allHeard = heard.text == good && heard.beyond.empty();
                if (fault.empty() && !partLost && !allHeard) {
                    fault = "text [" + heard.text + "] beyond [" + heard.beyond + "]";
                }
                if (fault.empty() && heard.ends.front() != SOCKET_ERROR) {
                    fault = "the first end is no failure";
                }
                tally.note(fault, casting.describe() + ", " + path.name + ", " +
                                      (farewell == Farewell::reset ? "reset" : "silent") +
                                      " behind " + std::to_string(k));
            }
        }
    });
    tally.tell(row, "streams reset or silent behind every byte");
}

} // namespace
} // namespace VexaSsl::test
