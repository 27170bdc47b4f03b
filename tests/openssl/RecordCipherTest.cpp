// Record protection alone: against recorded output of OpenSSL, and at the limits of sequence
// numbers and nonces.
#include "platform/openssl/tls/RecordCipher.h"
#include "contract/tls/Side.h"
#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/tls/RecordCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace VexaSsl::test {
namespace {

using namespace openssl;

Bytes fromHex(const std::string& text) {
    Bytes bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(std::stoi(text.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

// The first records after both Finished messages of a connection between two OpenSSL programs.
struct Recording {
    const char* name;
    unsigned char suite[2];
    const char* digest;
    const char* master;
    const char* clientRandom;
    const char* serverRandom;
    const char* clientRecord; // "from the client"
    const char* serverRecord; // "from the server"
};

void PrintTo(const Recording& recording, std::ostream* out) {
    *out << recording.name;
}

const AeadSuite& suiteOf(const unsigned char (&number)[2]) {
    using ContextPointer = std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>>;
    using ConnectionPointer = std::unique_ptr<SSL, Release<SSL_free>>;
    const ContextPointer context(SSL_CTX_new(TLS_method()));
    const ConnectionPointer connection(SSL_new(context.get()));
    const AeadSuite* suite = aeadSuiteOf(SSL_CIPHER_find(connection.get(), number));
    if (!suite) {
        throw std::logic_error("no such suite");
    }
    return *suite;
}

class RecordedConnection : public ::testing::TestWithParam<Recording> {
protected:
    static TrafficKeys keysOf(const Recording& recording, const AeadSuite& suite) {
        HandshakeSecrets secrets;
        const Bytes master = fromHex(recording.master);
        const Bytes client = fromHex(recording.clientRandom);
        const Bytes server = fromHex(recording.serverRandom);
        std::copy(master.begin(), master.end(), secrets.master.begin());
        secrets.masterSize = master.size();
        std::copy(client.begin(), client.end(), secrets.clientRandom.begin());
        std::copy(server.begin(), server.end(), secrets.serverRandom.begin());
        secrets.digest = recording.digest;
        return deriveTrafficKeys(secrets, suite);
    }

    std::size_t headerSize() const { return recordHeaderSize + suite.explicitNonceSize; }

    // The explicit nonce of sequence number 0, given the record with sequence number 1.
    std::uint64_t firstNonce(const Bytes& record) const {
        std::uint64_t nonce = 0;
        for (const unsigned char byte : part(record, recordHeaderSize, suite.explicitNonceSize)) {
            nonce = nonce << 8 | byte;
        }
        return nonce - 1;
    }

    Bytes sealed(const DirectionKeys& secrets, const Bytes& recorded, const char* text) const {
        RecordSealer sealer(suite, secrets, 1, firstNonce(recorded));
        Bytes header(headerSize());
        Bytes data = bytesOf(text);
        Bytes trailer(aeadTagSize);
        EXPECT_TRUE(sealer.seal(ContentType::applicationData, header, data, trailer));
        return header + data + trailer;
    }

    std::string opened(const DirectionKeys& secrets, Bytes recorded) const {
        RecordOpener opener(suite, secrets, 1, 16384);
        std::span<unsigned char> plaintext;
        EXPECT_EQ(opener.open(recorded, plaintext), RecordOpener::Outcome::opened);
        return {plaintext.begin(), plaintext.end()};
    }

    const AeadSuite& suite = suiteOf(GetParam().suite);
    const TrafficKeys keys = keysOf(GetParam(), suite);
    const Bytes clientRecord = fromHex(GetParam().clientRecord);
    const Bytes serverRecord = fromHex(GetParam().serverRecord);
};

TEST_P(RecordedConnection, recordedRecordsAreOpenedInBothDirections) {
    EXPECT_EQ(opened(keys.client, clientRecord), "from the client");
    EXPECT_EQ(opened(keys.server, serverRecord), "from the server");
}

TEST_P(RecordedConnection, recordedRecordsAreSealedByteForByte) {
    EXPECT_EQ(sealed(keys.client, clientRecord, "from the client"), clientRecord);
    EXPECT_EQ(sealed(keys.server, serverRecord, "from the server"), serverRecord);
}

TEST_P(RecordedConnection, lastSequenceNumberIsNeverSealed) {
    constexpr std::uint64_t lastButOne = std::numeric_limits<std::uint64_t>::max() - 1;
    RecordSealer sealer(suite, keys.client, lastButOne, 5);
    Bytes header(headerSize());
    Bytes data = bytesOf("data");
    Bytes trailer(aeadTagSize);
    EXPECT_TRUE(sealer.seal(ContentType::applicationData, header, data, trailer));
    const Bytes before = bytesOf("left as it is");
    data = before;
    EXPECT_FALSE(sealer.seal(ContentType::applicationData, header, data, trailer));
    EXPECT_EQ(data, before);
}

TEST_P(RecordedConnection, lastSequenceNumberIsNeverOpened) {
    constexpr std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
    RecordSealer sealer(suite, keys.client, last - 1, 5);
    RecordOpener opener(suite, keys.client, last - 1, 16384);
    Bytes header(headerSize());
    Bytes data = bytesOf("data");
    Bytes trailer(aeadTagSize);
    ASSERT_TRUE(sealer.seal(ContentType::applicationData, header, data, trailer));
    Bytes record = header + data + trailer;
    std::span<unsigned char> plaintext;
    EXPECT_EQ(opener.open(record, plaintext), RecordOpener::Outcome::opened);
    EXPECT_EQ(opener.open(record, plaintext), RecordOpener::Outcome::failed);
}

TEST_P(RecordedConnection, explicitNoncesWrapAround) {
    constexpr std::uint64_t nearTheEnd = std::numeric_limits<std::uint64_t>::max() - 1;
    RecordSealer sealer(suite, keys.client, 1, nearTheEnd);
    RecordOpener opener(suite, keys.client, 1, 16384);
    for (const std::uint64_t expected : {nearTheEnd + 1, std::uint64_t{0}, std::uint64_t{1}}) {
        Bytes header(headerSize());
        Bytes data = bytesOf("data");
        Bytes trailer(aeadTagSize);
        ASSERT_TRUE(sealer.seal(ContentType::applicationData, header, data, trailer));
        Bytes record = header + data + trailer;
        if (suite.explicitNonceSize > 0) {
            EXPECT_EQ(firstNonce(record), expected - 1);
        }
        std::span<unsigned char> plaintext;
        EXPECT_EQ(opener.open(record, plaintext), RecordOpener::Outcome::opened);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, RecordedConnection,
    ::testing::Values(
        Recording{
            "Aes128Gcm",
            {0xC0, 0x2B},
            "SHA256",
            "82e58ed5e1ff4b2c7dd3dd329d37856d79ad36339e7bc1f91e280085c4a11dd2350241b100d46cbf2d8c"
            "612987871b95",
            "1cbf2b3946bc32f9caeff0b587d9eb20c7607470264db8b46e6fa3eb5c3a9ef6",
            "2c13c0b27016669d7691740849002537dbea292cd974ef6d42c563702c01206b",
            "1703030027bfab8368ac72e13637b0f9e047c2d33600ed5239571ff761e43400c5e36a294119da9da186"
            "1c4b",
            "1703030027e5e600fa8f3797323c7b7aa922b2b9292afc25f832e80ef1b678e4754b88a6d34bd72cac4a"
            "2873"},
        Recording{
            "Aes256Gcm",
            {0xC0, 0x2C},
            "SHA384",
            "e96efe6f62361238ec6a9ea7428288316720bd4fd4a459fcf4b8aa8a8125bb5d53a8ef6864691879eb39"
            "9c27600d49af",
            "069170434e9a0cebfc221a23d3e34833343aafbd1a32b56dbaa20918e38b25bd",
            "26dc7fe4f88878d135d707ef81d672c2bba388f11e93a0db20d02f358d2ba4ef",
            "17030300273fcc09e4e45b728e7b2bd8e403794638ff7c88090364e3d7b2151fbe13e3587efdd75eac79"
            "5fe1",
            "1703030027e037a7aef39edbdae8dc7af09863b23a5c2d43aa726d59910c655a5fedea1bfbdf49fb8f5a"
            "1c73"},
        Recording{
            "ChaCha20Poly1305",
            {0xCC, 0xA9},
            "SHA256",
            "4df24afeeab04bc0f811f25d16f79b8f734f7a2bcfe845049d4a91518e5aba4a300686a4bc88ac383501"
            "9ec9cbb2dfaf",
            "d9e135b7e8b45949a7bb357c1787c0c56c1d0f7cb107ae2c1d84cf78cb2daeac",
            "ac7af4cc9898bcbbd6d717a586a61bcdfd9b03e09f6fdf5dc9f6cbd289b71941",
            "170303001fd9849802d99858cc1aaf2493c6433f6cb210402f48028fc54ebdfb1c926072",
            "170303001fb401757e7dda7c29cfd5f6e1923a595f20fb958fa278452f12fe8f7261646e"}),
    [](const ::testing::TestParamInfo<Recording>& recording) {
        return std::string(recording.param.name);
    });

Bytes recordOf(ContentType type, const Bytes& payload) {
    return Bytes{static_cast<unsigned char>(type), 3, 3, 0,
                 static_cast<unsigned char>(payload.size())} +
           payload;
}

TEST(RecordCounter, recordsAfterChangeCipherSpecAreCounted) {
    RecordCounter counter;
    counter.count(recordOf(ContentType::handshake, Bytes(40)));
    EXPECT_EQ(counter.protectedCount(), 0U);
    counter.count(recordOf(ContentType::changeCipherSpec, {1}) +
                  recordOf(ContentType::handshake, Bytes{0, 0, 0, 0, 0, 0, 1, 2, 9, 9}));
    EXPECT_EQ(counter.protectedCount(), 1U);
    EXPECT_EQ(counter.lastExplicitNonce(), 0x102U);
    counter.count(recordOf(ContentType::changeCipherSpec, {1}) + recordOf(ContentType::alert, {}));
    EXPECT_EQ(counter.protectedCount(), 3U);
    EXPECT_TRUE(counter.isComplete());
}

TEST(RecordCounter, nonceIsTheFirstEightBytesOfThePayload) {
    const Bytes change = {20, 3, 3, 0, 1, 1};
    for (const auto& [payload, nonce] :
         {std::pair{Bytes{}, 0ULL},
          {Bytes{1, 2, 3}, 0x010203ULL},
          {Bytes{1, 2, 3, 4, 5, 6, 7, 8}, 0x0102030405060708ULL},
          {Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9}, 0x0102030405060708ULL}}) {
        RecordCounter counter;
        counter.count(change + Bytes{22, 3, 3, 0, static_cast<unsigned char>(payload.size())} +
                      payload);
        EXPECT_EQ(counter.lastExplicitNonce(), nonce);
    }
}

TEST(RecordCounter, incompleteRecordsGiveNoCount) {
    RecordCounter partial;
    partial.count(part(recordOf(ContentType::handshake, Bytes(40)), 0, 44));
    EXPECT_FALSE(partial.isComplete());
    RecordCounter foreign;
    foreign.count(bytesOf("GET / HTTP/1.1"));
    EXPECT_FALSE(foreign.isComplete());
}

} // namespace
} // namespace VexaSsl::test
