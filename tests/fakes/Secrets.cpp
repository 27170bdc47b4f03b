#include "fakes/Secrets.h"

#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <string>

namespace VexaSsl::test::secrets {
namespace {

constexpr std::size_t shortest = 8;

// The beginning of a secret as it would appear in a line.
class Form {
public:
    void add(char byte) {
        if (size < units.size()) {
            units[size++] = static_cast<wchar_t>(static_cast<unsigned char>(byte));
        }
    }
    bool operator==(const Form&) const = default;
    bool isIn(std::wstring_view line) const {
        return size != 0 && line.find(std::wstring_view(units.data(), size)) != line.npos;
    }

private:
    std::array<wchar_t, 32> units{};
    std::size_t size = 0;
};

struct Secret {
    Form asItIs;
    Form lowerHex;
    Form upperHex;

    Secret() = default;
    explicit Secret(std::string_view bytes) {
        for (const char byte : bytes.substr(0, 32)) {
            asItIs.add(byte);
            addDigits(byte, "0123456789abcdef", lowerHex);
            addDigits(byte, "0123456789ABCDEF", upperHex);
        }
    }
    bool operator==(const Secret&) const = default;
    bool isIn(std::wstring_view line) const {
        return asItIs.isIn(line) || lowerHex.isIn(line) || upperHex.isIn(line);
    }

private:
    static void addDigits(char byte, const char* digits, Form& form) {
        form.add(digits[static_cast<unsigned char>(byte) >> 4]);
        form.add(digits[static_cast<unsigned char>(byte) & 15]);
    }
};

struct Memory {
    std::mutex guard;
    std::array<Secret, 16> contents;
    std::array<Secret, 64> keys;
    Tally tally;
};

// Never destroyed, since logs may outlive it.
Memory& memory() {
    static Memory& only = *new Memory;
    return only;
}

template <std::size_t size>
bool anyIsIn(const std::array<Secret, size>& secrets, std::wstring_view line) {
    return std::any_of(secrets.begin(), secrets.end(),
                       [line](const Secret& secret) { return secret.isIn(line); });
}

} // namespace

void addContent(std::string_view bytes) {
    if (bytes.size() < shortest) {
        return;
    }
    Memory& known = memory();
    const std::lock_guard lock(known.guard);
    known.contents[known.tally.contents++ % known.contents.size()] = Secret(bytes);
}

void addKey(std::string_view pem) {
    const std::size_t start = std::min(pem.find('\n'), pem.size() - 1) + 1;
    const std::string_view line = pem.substr(start, pem.find('\n', start) - start);
    Memory& known = memory();
    const std::lock_guard lock(known.guard);
    // Keys of one kind have the same beginning.
    const Secret key(line.substr(line.size() / 2));
    if (line.size() >= 2 * shortest && known.tally.keys < known.keys.size() &&
        std::ranges::find(known.keys, key) == known.keys.end()) {
        known.keys[known.tally.keys++] = key;
    }
}

void searchIn(std::wstring_view line) {
    Memory& known = memory();
    bool isFound = false;
    {
        const std::lock_guard lock(known.guard);
        ++known.tally.lines;
        isFound = anyIsIn(known.contents, line) || anyIsIn(known.keys, line);
        known.tally.found += isFound ? 1 : 0;
    }
    if (isFound) {
        ADD_FAILURE() << "a line of the log holds what a connection carried, or a key: "
                      << ::testing::PrintToString(std::wstring(line));
    }
}

void searchIn(std::string_view output) {
    std::wstring line;
    for (const char byte : output) {
        if (byte != '\n') {
            line += static_cast<wchar_t>(static_cast<unsigned char>(byte));
        } else {
            searchIn(line);
            line.clear();
        }
    }
    if (!line.empty()) {
        searchIn(line);
    }
}

Tally tally() {
    Memory& known = memory();
    const std::lock_guard lock(known.guard);
    return known.tally;
}

void resetFindings() {
    Memory& known = memory();
    const std::lock_guard lock(known.guard);
    known.tally.found = 0;
}

namespace {

class SearchReport : public ::testing::Environment {
    void TearDown() override {
        const Tally all = tally();
        if (all.lines == 0) {
            return;
        }
        addToFigure("Secrets", all.lines, "log lines of the tests searched for keys and contents");
        addToFigure("Secrets", all.contents, "contents of connections looked for in log lines");
        addToFigure("Secrets", all.found, "log lines of the tests held a key or a content");
    }
};

const auto* const report =
    ::testing::AddGlobalTestEnvironment(new SearchReport); // gtest deletes it

} // namespace

} // namespace VexaSsl::test::secrets
