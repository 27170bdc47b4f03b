#include "tampering/RecordStream.h"

#include "VexaSsl/TextConversion.h"
#include "integration/support/LogMatchers.h"

#include <algorithm>
#include <array>
#include <map>

namespace VexaSsl::test {

namespace {

constexpr std::array<SECURITY_STATUS, 4> failureStatuses = {
    SEC_E_MESSAGE_ALTERED, SEC_E_DECRYPT_FAILURE, SEC_E_ILLEGAL_MESSAGE, SEC_E_INTERNAL_ERROR};

// Whether the line is a failed decryption; if altered, with the status of an altered message.
bool isFailedDecryption(const LogLine& line, bool altered) {
    const auto hasStatus = [&](SECURITY_STATUS status) {
        return line == failedCall(L"DecryptMessage", static_cast<DWORD>(status));
    };
    return altered ? hasStatus(packageBehaviour().altered)
                   : std::any_of(failureStatuses.begin(), failureStatuses.end(), hasStatus);
}

bool isEndAfterFailure(const LogLine& line) {
    return packageBehaviour().endsStream &&
           line == failedCall(L"DecryptMessage", SEC_I_CONTEXT_EXPIRED);
}

// alteredRecord begins with a record's header.
Reaction reactionTo(const Bytes& alteredRecord) {
    constexpr std::size_t longest = 16384 + 2048;
    const std::size_t payload = static_cast<std::size_t>(alteredRecord[3]) << 8 | alteredRecord[4];
    const bool isTls = alteredRecord[0] >= 20 && alteredRecord[0] <= 23 && alteredRecord[1] == 3 &&
                       payload <= longest;
    const bool passes = isTls || !packageBehaviour().checksHeaders;
    return passes && 5 + payload <= alteredRecord.size() ? Reaction::line : Reaction::nothing;
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

std::vector<Bytes> makeStream(TamperedConnection& connection, std::size_t length) {
    std::vector<Bytes> records;
    for (std::size_t i = 0; i < length; ++i) {
        records.push_back(connection.record(textOfRecord(i)));
    }
    return records;
}

// Determined once per cipher suite.
std::size_t sizeOfRecord(const ConnectionSetup& setup) {
    static std::map<std::string, std::size_t> sizes;
    std::size_t& size = sizes[setup.suite];
    if (size == 0) {
        TamperedConnection connection(setup);
        size = connection.record(textOfRecord(0)).size();
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

void RecordStream::deliverAndCheck(TamperedConnection& connection, const Path& path,
                                   const std::vector<Bytes>& sent, std::size_t good,
                                   const std::string& place, bool altered) {
    const Bytes rest = joined({sent.begin() + static_cast<std::ptrdiff_t>(good), sent.end()});
    connection.deliver(portioned(sent));
    const ReceivedData received = path.receive(connection);
    std::string fault = faultOfText(received, path, textOfFirst(good));
    if (fault.empty()) {
        fault = faultOfLines(connection, path, rest.empty() ? Reaction::nothing : reactionTo(rest),
                             altered);
    }
    tally.note(fault, place);
}

std::string RecordStream::faultOfText(const ReceivedData& received, const Path& path,
                                      const std::string& good) {
    const std::string description = "text [" + received.text + "] beyond [" + received.beyond + "]";
    if (path.severalBuffers) {
        // A failed completion doesn't count the bytes in its first buffer.
        const bool isPart =
            good.ends_with(received.text) && good.find(received.beyond) != std::string::npos;
        tally.accept(isPart ? 0 : received.text.size() + received.beyond.size());
        return isPart ? "" : description;
    }
    // A call that fetches the record after the failure loses what it has already delivered.
    const bool lastPartLost =
        packageBehaviour().endsStream && received.text + received.beyond == good;
    if (lastPartLost) {
        return "";
    }
    tally.accept(good.starts_with(received.text) ? received.beyond.size()
                                                 : received.text.size() + received.beyond.size());
    return received.text == good && received.beyond.empty() ? "" : description;
}

std::string RecordStream::faultOfLines(const TamperedConnection& connection, const Path& path,
                                       Reaction reaction, bool altered) {
    const LogLine tooFewBytes =
        warning(L"::WSARecv completed asynchronously, but there were too few bytes transferred [0] "
                L"to decrypt even a single crypto message");
    std::size_t failures = 0;
    for (const LogLine& line : connection.log.linesFrom(Severity::Warning)) {
        if (isFailedDecryption(line, altered)) {
            ++failures;
        } else if (!(path.overlapped && line == tooFewBytes) && !isEndAfterFailure(line)) {
            return "unexpected line: " + convertWideToNarrow(line.text);
        }
    }
    return (failures > 0) == (reaction == Reaction::line)
               ? ""
               : std::to_string(failures) + " lines of a failed decryption";
}

} // namespace VexaSsl::test
