// A stream of ten small records sent to a stack, and the check of what the host receives.
#pragma once

#include "tampering/Paths.h"
#include "tampering/Sweeping.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {

enum class Portions { together, recordByRecord, splitInside, count };

// How the stack handles bytes that aren't a valid record.
enum class Reaction {
    line,    // each failure is logged
    nothing, // bytes that aren't TLS are dropped silently; a partial record waits for the rest
};

inline constexpr std::size_t headerSize = 5;

std::string textOfRecord(std::size_t number);
std::string textOfFirst(std::size_t count);
std::vector<Bytes> makeStream(TamperedConnection& connection, std::size_t length = 10);
std::size_t sizeOfRecord(const ConnectionSetup& setup);
Bytes joined(const std::vector<Bytes>& records);

class RecordStream : public ::testing::Test {
protected:
    // The same bytes in portions of one read each, divided differently at each call.
    std::vector<Bytes> portioned(const std::vector<Bytes>& records);

    // Runs the work for all cipher suites, roles and paths.
    template <typename Work>
    static void forEachSetup(Work work) {
        for (const std::string& suite : allSuites()) {
            for (const bool asServer : {true, false}) {
                for (const Path& path : allPaths()) {
                    work(ConnectionSetup{.asServer = asServer,
                                         .upgraded = path.upgraded,
                                         .suite = suite},
                         path);
                }
            }
        }
    }

    static std::string describe(const ConnectionSetup& setup, const Path& path) {
        return setup.describe() + ", " + path.name + ", ";
    }

    // Delivers the records, of which the first `good` are unchanged, and checks what is received.
    // altered: the failure must have the status of an altered message.
    void deliverAndCheck(TamperedConnection& connection, const Path& path,
                         const std::vector<Bytes>& sent, std::size_t good, const std::string& place,
                         bool altered = true);
    // Describes what is wrong with the text received; good is the text before the change. Counts
    // any other text as accepted.
    std::string faultOfText(const ReceivedData& received, const Path& path,
                            const std::string& good);
    // Describes what is wrong with the lines from Warning upwards; empty if they are as documented.
    static std::string faultOfLines(const TamperedConnection& connection, const Path& path,
                                    Reaction reaction, bool altered = true);

    const std::string row = "Records flipped, dropped, repeated, swapped, cut";
    Tally tally;

private:
    std::size_t turn = 0;
};

} // namespace VexaSsl::test
