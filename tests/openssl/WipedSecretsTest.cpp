// The secrets that the binding copies from OpenSSL are overwritten by their destructors. The tests
// own the memory, so that they can inspect it afterwards.
#include "platform/openssl/tls/RecordCipher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

namespace VexaSsl::test {
namespace {

using openssl::AeadSuite;
using openssl::DirectionKeys;
using openssl::HandshakeSecrets;
using openssl::RecordOpener;

constexpr unsigned char mark = 0xA5;

template <class Secret>
class Place {
public:
    template <class... Arguments>
    Secret& make(Arguments&&... arguments) {
        secret = new (bytes.data()) Secret(std::forward<Arguments>(arguments)...);
        return *secret;
    }
    void destroy() { std::destroy_at(secret); }
    // Several in a row, because one byte may be part of an address.
    bool holdsMarks() const {
        return std::search_n(bytes.begin(), bytes.end(), 8, mark) != bytes.end();
    }

private:
    alignas(Secret) std::array<unsigned char, sizeof(Secret)> bytes{};
    Secret* secret = nullptr;
};

TEST(WipedSecrets, keysAreWipedWithTheirDirection) {
    Place<DirectionKeys> place;
    DirectionKeys& keys = place.make();
    keys.key.fill(mark);
    keys.fixedNonce.fill(mark);
    EXPECT_TRUE(place.holdsMarks());
    place.destroy();
    EXPECT_FALSE(place.holdsMarks());
}

TEST(WipedSecrets, masterSecretIsWipedWithItsOwner) {
    Place<HandshakeSecrets> place;
    place.make().master.fill(mark);
    EXPECT_TRUE(place.holdsMarks());
    place.destroy();
    EXPECT_FALSE(place.holdsMarks());
}

TEST(WipedSecrets, cipherKeepsItsKeyInOpenSslOnly) {
    constexpr AeadSuite suite{"ChaCha20-Poly1305", 32, 12, 0};
    DirectionKeys keys;
    keys.key.fill(mark);
    Place<RecordOpener> place;
    place.make(suite, keys, 1U, 16384U);
    EXPECT_FALSE(place.holdsMarks());
    place.destroy();
}

} // namespace
} // namespace VexaSsl::test
