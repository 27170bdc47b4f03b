// What the binding takes out of OpenSSL to protect records with is overwritten when it goes. The
// memory is the tests' own, so that it can be looked at afterwards.
#include "security/RecordCipher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace VexaSsl::portable {
namespace {

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
    std::ptrdiff_t marksLeft() const { return std::count(bytes.begin(), bytes.end(), mark); }

private:
    alignas(Secret) std::array<unsigned char, sizeof(Secret)> bytes{};
    Secret* secret = nullptr;
};

TEST(WipedSecrets, keysOfADirectionGoWithIt) {
    Place<DirectionKeys> place;
    DirectionKeys& keys = place.make();
    keys.key.fill(mark);
    keys.fixedNonce.fill(mark);
    EXPECT_EQ(place.marksLeft(), static_cast<std::ptrdiff_t>(aeadKeyLimit + aeadNonceSize));
    place.destroy();
    EXPECT_EQ(place.marksLeft(), 0);
}

TEST(WipedSecrets, masterSecretGoesWithItsOwner) {
    Place<HandshakeSecrets> place;
    place.make().master.fill(mark);
    EXPECT_EQ(place.marksLeft(), SSL_MAX_MASTER_KEY_LENGTH);
    place.destroy();
    EXPECT_EQ(place.marksLeft(), 0);
}

TEST(WipedSecrets, aCipherKeepsItsKeyInsideOfOpenSslOnly) {
    constexpr AeadSuite suite{"ChaCha20-Poly1305", 32, 12, 0};
    DirectionKeys keys;
    keys.key.fill(mark);
    Place<RecordOpener> place;
    place.make(suite, keys, 1U, 16384U);
    EXPECT_EQ(place.marksLeft(), 0);
    place.destroy();
}

} // namespace
} // namespace VexaSsl::portable
