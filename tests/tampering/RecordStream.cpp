#include "tampering/RecordStream.h"

#include "VexaSsl/TextConversion.h"
#include "integration/support/LogMatchers.h"

#include <algorithm>
#include <array>
#include <map>

namespace VexaSsl::test {

namespace {

constexpr std::array<SECURITY_STATUS, 4> spoiledStatuses = {
    SEC_E_MESSAGE_ALTERED, SEC_E_DECRYPT_FAILURE, SEC_E_ILLEGAL_MESSAGE, SEC_E_INTERNAL_ERROR};

// The line of a failed decryption; exactly that of an altered message if so wanted.
bool tellsOfSpoiledRecord(const LogLine& line, bool altered) {
    const auto tells = [&](SECURITY_STATUS status) {
        return line == failedCall(L"DecryptMessage", static_cast<DWORD>(status));
    };
    return altered ? tells(packageHabits().altered)
                   : std::any_of(spoiledStatuses.begin(), spoiledStatuses.end(), tells);
}

// To what begins with a record's header.
Reaction reactionTo(const Bytes& spoiled) {
    constexpr std::size_t longest = 16384 + 2048;
    const std::size_t payload = static_cast<std::size_t>(spoiled[3]) << 8 | spoiled[4];
    const bool isTls =
        spoiled[0] >= 20 && spoiled[0] <= 23 && spoiled[1] == 3 && payload <= longest;
    const bool passes = isTls || !packageHabits().judgesHeaders;
    return passes && 5 + payload <= spoiled.size() ? Reaction::line : Reaction::nothing;
}

} // namespace

std::string textOfRecord(std::size_t number) {
    return "<record " + std::to_string(number) + " of the stream>"; // the same size for 0 to 9
}

std::string textOfFirst(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += textOfRecord(i);
    }
    return text;
}

std::vector<Bytes> makeStream(Scene& scene, std::size_t length) {
    std::vector<Bytes> records;
    for (std::size_t i = 0; i < length; ++i) {
        records.push_back(scene.record(textOfRecord(i)));
    }
    return records;
}

// Asked once a suite.
std::size_t sizeOfRecord(const Casting& casting) {
    static std::map<std::string, std::size_t> sizes;
    std::size_t& size = sizes[casting.suite];
    if (size == 0) {
        Scene scene(casting);
        size = scene.record(textOfRecord(0)).size();
    }
    return size;
}

Bytes joined(const std::vector<Bytes>& records) {
    Bytes all;
    for (const Bytes& record : records) {
        all = std::move(all) + record;
    }
    return all;
}

std::vector<Bytes> RecordStream::portioned(const std::vector<Bytes>& records) {
    const auto portions = static_cast<Portions>(turn++ % static_cast<std::size_t>(Portions::count));
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

void RecordStream::judge(Scene& scene, const Path& path, const std::vector<Bytes>& sent,
                         std::size_t good, const std::string& place, bool altered) {
    const Bytes rest = joined({sent.begin() + static_cast<std::ptrdiff_t>(good), sent.end()});
    scene.deliver(portioned(sent));
    const Heard heard = path.hear(scene);
    std::string fault = faultOfText(heard, path, textOfFirst(good));
    if (fault.empty()) {
        fault =
            faultOfLines(scene, path, rest.empty() ? Reaction::nothing : reactionTo(rest), altered);
    }
    tally.note(fault, place);
}

std::string RecordStream::faultOfText(const Heard& heard, const Path& path,
                                      const std::string& good) {
    const std::string description = "text [" + heard.text + "] beyond [" + heard.beyond + "]";
    if (path.severalBuffers) {
        // A completion that fails doesn't count what its first buffer has got.
        const bool isPart =
            good.ends_with(heard.text) && good.find(heard.beyond) != std::string::npos;
        tally.accept(isPart ? 0 : heard.text.size() + heard.beyond.size());
        return isPart ? "" : description;
    }
    tally.accept(good.starts_with(heard.text) ? heard.beyond.size()
                                              : heard.text.size() + heard.beyond.size());
    return heard.text == good && heard.beyond.empty() ? "" : description;
}

std::string RecordStream::faultOfLines(const Scene& scene, const Path& path, Reaction reaction,
                                       bool altered) {
    const LogLine tooFewBytes =
        warning(L"::WSARecv completed asynchronously, but there were too few bytes transferred [0] "
                L"to decrypt even a single crypto message");
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

} // namespace VexaSsl::test
