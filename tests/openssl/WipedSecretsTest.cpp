// The secrets that the binding copies from OpenSSL are overwritten by their destructors, and a
// failed connection has none. The tests own the memory, so that they can inspect it afterwards.
#include "platform/openssl/stores/SecretArray.h"
#include "platform/openssl/tls/Protection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <utility>

namespace VexaSsl::test {
namespace {

using namespace openssl;

constexpr unsigned char mark = 0xA5;
constexpr AeadSuite chacha20{"ChaCha20-Poly1305", 32, 12, 0};

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

TEST(WipedSecrets, arrayIsWipedByItsDestructor) {
    Place<SecretArray<32>> place;
    place.make().fill(mark);
    EXPECT_TRUE(place.holdsMarks());
    place.destroy();
    EXPECT_FALSE(place.holdsMarks());
}

TEST(WipedSecrets, cipherKeepsItsKeyInOpenSslOnly) {
    DirectionKeys keys;
    keys.key.fill(mark);
    Place<RecordOpener> place;
    place.make(chacha20, keys, 1U, 16384U);
    EXPECT_FALSE(place.holdsMarks());
    place.destroy();
}

// An established connection whose next records have the given sequence number.
struct Established : TlsConnection {
    explicit Established(std::uint64_t sequence)
        : TlsConnection({.settings = SslContextPointer(SSL_CTX_new(TLS_client_method()))}) {
        sealer.emplace(chacha20, DirectionKeys(), sequence, 0U);
        opener.emplace(chacha20, DirectionKeys(), sequence, 16384U);
        stage = Stage::established;
    }
};

TEST(WipedSecrets, failedConnectionHasNoKeys) {
    Established connection(1);
    EXPECT_EQ(connection.failAndWipeKeys(SEC_E_MESSAGE_ALTERED), SEC_E_MESSAGE_ALTERED);
    EXPECT_FALSE(connection.sealer);
    EXPECT_FALSE(connection.opener);
}

TEST(WipedSecrets, connectionThatCannotSealHasNoKeyToSealWith) {
    Established connection(std::numeric_limits<std::uint64_t>::max());
    std::array<unsigned char, 64> record{};
    const std::span area(record);
    EXPECT_EQ(sealRecord(connection, area.first(5), area.subspan(5, 1), area.subspan(6, 16)),
              SEC_E_ENCRYPT_FAILURE);
    EXPECT_FALSE(connection.sealer);
    EXPECT_EQ(connection.stage, Stage::failed);
}

TEST(WipedSecrets, connectionThatCannotOpenHasNoKeys) {
    Established connection(std::numeric_limits<std::uint64_t>::max());
    std::array<unsigned char, 64> record{23, 3, 3, 0, 59};
    std::span<unsigned char> plaintext;
    EXPECT_EQ(openRecord(connection, record, plaintext), SEC_E_INTERNAL_ERROR);
    EXPECT_FALSE(connection.sealer);
    EXPECT_FALSE(connection.opener);
}

} // namespace
} // namespace VexaSsl::test
