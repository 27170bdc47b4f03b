// A stream of ten small records on its way to a stack, and the judgement of what the host got of
// it.
#pragma once

#include "tampering/Paths.h"
#include "tampering/Sweeping.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {

enum class Portions { together, recordByRecord, splitInside, count };

// How the stack is to take bytes that are no good record.
enum class Reaction {
    line,    // a failure with a line each time
    nothing, // what can't be TLS is dropped without a word, and a part of a record waits for ever
};

inline constexpr std::size_t headerSize = 5;

std::string textOfRecord(std::size_t number);
std::string textOfFirst(std::size_t count);
std::vector<Bytes> makeStream(Scene& scene, std::size_t length = 10);
std::size_t sizeOfRecord(const Casting& casting);
Bytes joined(const std::vector<Bytes>& records);

class RecordStream : public ::testing::Test {
protected:
    // The same bytes in portions, another way each time: each is one read of the stack.
    std::vector<Bytes> portioned(const std::vector<Bytes>& records);

    // Runs the work for all suites, roles and paths.
    template <typename Work>
    static void inEachSetting(Work work) {
        for (const std::string& suite : allSuites()) {
            for (const bool asServer : {true, false}) {
                for (const Path& path : allPaths()) {
                    work(Casting{.asServer = asServer, .upgraded = path.upgraded, .suite = suite},
                         path);
                }
            }
        }
    }

    static std::string describe(const Casting& casting, const Path& path) {
        return casting.describe() + ", " + path.name + ", ";
    }

    // Delivers the records, of which the first `good` are the stream's, and judges what is heard.
    // altered: the failure must be that of an altered message, not just any.
    void judge(Scene& scene, const Path& path, const std::vector<Bytes>& sent, std::size_t good,
               const std::string& place, bool altered = true);
    // What is wrong with the text that came, of which good is before the change. Counts what isn't
    // from there as accepted.
    std::string faultOfText(const Heard& heard, const Path& path, const std::string& good);
    // What is wrong with the lines from Warning upwards; empty when they are as documented.
    static std::string faultOfLines(const Scene& scene, const Path& path, Reaction reaction,
                                    bool altered = true);

    const std::string row = "Records flipped, dropped, repeated, swapped, cut";
    Tally tally;

private:
    std::size_t turn = 0;
};

} // namespace VexaSsl::test
