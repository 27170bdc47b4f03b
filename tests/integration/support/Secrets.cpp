#include "integration/support/Secrets.h"

#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>

namespace VexaSsl::test::secrets {
namespace {

constexpr std::size_t shortest = 8;

// The beginning of something, in a form that a line could show.
class Form {
public:
    void add(char byte) {
        if (size < units.size()) {
            units[size++] = static_cast<wchar_t>(static_cast<unsigned char>(byte));
        }
    }
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

// Never destroyed, since logs may outlive it otherwise.
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

void carry(std::string_view bytes) {
    if (bytes.size() < shortest) {
        return;
    }
    Memory& known = memory();
    const std::lock_guard lock(known.guard);
    known.contents[known.tally.contents++ % known.contents.size()] = Secret(bytes);
}

void learnKeys() {
    Memory& known = memory();
    const std::lock_guard lock(known.guard);
    for (const auto& test : std::filesystem::directory_iterator(pki::folder() / "all")) {
        std::ifstream key(test.path() / "key.pem");
        std::string armour;
        std::string line;
        if (std::getline(key, armour) && std::getline(key, line) && line.size() >= shortest &&
            known.tally.keys < known.keys.size()) {
            // Keys of one kind begin alike.
            known.keys[known.tally.keys++] = Secret(line.substr(line.size() / 2));
        }
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

Tally tally() {
    Memory& known = memory();
    const std::lock_guard lock(known.guard);
    return known.tally;
}

} // namespace VexaSsl::test::secrets
