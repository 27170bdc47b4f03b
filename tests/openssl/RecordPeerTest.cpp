// Records exchanged with an OpenSSL peer: every cipher suite, both roles, both directions, and
// records with a wrong value in each field.
#include "TrafficForge.h"
#include "contract/support/TestCertificates.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>

namespace VexaSsl::test {
namespace {

constexpr unsigned char alertType = 21;
constexpr unsigned char handshakeType = 22;

enum class OwnRole { client, server };

// One of our sides and a peer after the handshake.
struct Connection {
    Connection(OwnRole role, const PeerSettings& settings)
        : side(role == OwnRole::client ? Side::client() : Side::server()),
          peer(role == OwnRole::client ? RawPeer::server("server-ecdsa", settings)
                                       : RawPeer::client(settings)) {
        if (role == OwnRole::client) {
            ourFlight = side.receive(peer.step(side.step().token)).token;
            side.receive(peer.step(ourFlight));
        } else {
            const Bytes answer = side.receive(peer.step()).token;
            ourFlight = side.receive(peer.step(answer)).token;
            peer.step(ourFlight);
        }
    }

    bool established() const { return side.established() && peer.established(); }
    TrafficForge peersKeys() const { return {peer, TrafficForge::Direction::fromPeer}; }
    TrafficForge ourKeys() const { return {peer, TrafficForge::Direction::toPeer}; }

    Side side;
    RawPeer peer;
    Bytes ourFlight; // ends with our Finished message
};

using Case = std::tuple<const char*, OwnRole>;

class Records : public ::testing::TestWithParam<Case> {
protected:
    static Connection establish() {
        PeerSettings settings;
        settings.suites = std::get<0>(GetParam());
        Connection connection(std::get<1>(GetParam()), settings);
        EXPECT_TRUE(connection.established());
        return connection;
    }
    // Opens a record that must be rejected. Expects the end of the stream at the next record.
    static SECURITY_STATUS openRejected(const Bytes& record, Connection& connection) {
        const Opened opened = connection.side.open(record);
        EXPECT_TRUE(opened.plaintext.empty());
        EXPECT_EQ(connection.side.open(connection.peer.protect("later")).status,
                  SEC_I_CONTEXT_EXPIRED);
        return opened.status;
    }

    const ScopedCertificates certificates;
};

// The cipher suites whose records carry an explicit nonce.
class ExplicitNonces : public Records {};

constexpr std::size_t sizes[] = {1, 2, 15, 16, 17, 255, 256, 1023, 4096, 16383, 16384};

TEST_P(Records, peerOpensRecordsOfEverySize) {
    Connection connection = establish();
    for (const std::size_t size : sizes) {
        const std::string text(size, static_cast<char>('a' + size % 26));
        EXPECT_EQ(connection.peer.openOne(connection.side.protect(text)), text);
    }
}

TEST_P(Records, peersRecordsOfEverySizeAreOpened) {
    Connection connection = establish();
    for (const std::size_t size : sizes) {
        const std::string text(size, static_cast<char>('a' + size % 26));
        EXPECT_EQ(connection.side.openAll(connection.peer.protect(text)), text);
    }
}

TEST_P(Records, emptyRecordTakesSequenceNumber) {
    Connection connection = establish();
    const TrafficForge forge = connection.peersKeys();
    const Opened opened =
        connection.side.open(forge.seal({.sequence = 1, .explicitNonce = 77}, ""));
    EXPECT_EQ(opened.status, SEC_E_OK);
    EXPECT_TRUE(opened.plaintext.empty());
    const Bytes next = forge.seal({.sequence = 2, .explicitNonce = 78}, "next");
    EXPECT_EQ(connection.side.openAll(next), "next");
}

TEST_P(Records, sequenceNumbersContinueAfterFinished) {
    Connection connection = establish();
    const TrafficForge forge = connection.ourKeys();
    Bytes plaintext;
    EXPECT_TRUE(forge.open(0, recordsIn(connection.ourFlight).back(), plaintext));
    EXPECT_EQ(plaintext.size(), 16U); // a Finished message
    for (std::uint64_t number = 1; number < 100; ++number) {
        const Bytes record = connection.side.protect("data");
        EXPECT_FALSE(forge.open(number - 1, record, plaintext));
        EXPECT_TRUE(forge.open(number, record, plaintext));
        EXPECT_EQ(textOf(plaintext), "data");
    }
}

TEST_P(ExplicitNonces, explicitNoncesNeverRepeat) {
    Connection connection = establish();
    std::set<std::uint64_t> nonces = {explicitNonceIn(recordsIn(connection.ourFlight).back())};
    constexpr std::size_t count = 3000;
    for (std::size_t i = 0; i < count; ++i) {
        nonces.insert(explicitNonceIn(connection.side.protect("x")));
    }
    EXPECT_EQ(nonces.size(), count + 1);
}

TEST_P(ExplicitNonces, peerChoosesExplicitNonces) {
    Connection connection = establish();
    const TrafficForge forge = connection.peersKeys();
    std::uint64_t number = 1;
    for (const std::uint64_t nonce : {std::uint64_t{0}, ~std::uint64_t{0}, std::uint64_t{5}}) {
        const Bytes record = forge.seal({.sequence = number++, .explicitNonce = nonce}, "data");
        EXPECT_EQ(connection.side.openAll(record), "data");
    }
}

TEST_P(Records, peersCertificateStaysKnownAfterRecords) {
    Connection connection = establish();
    PCCERT_CONTEXT before = nullptr;
    const SECURITY_STATUS known = platform::QueryContextAttributesW(
        connection.side.context(), SECPKG_ATTR_REMOTE_CERT_CONTEXT, &before);
    EXPECT_EQ(known, std::get<1>(GetParam()) == OwnRole::client ? SEC_E_OK : SEC_E_NO_CREDENTIALS);
    EXPECT_EQ(connection.side.openAll(connection.peer.protect("data")), "data");
    PCCERT_CONTEXT after = nullptr;
    EXPECT_EQ(platform::QueryContextAttributesW(connection.side.context(),
                                                SECPKG_ATTR_REMOTE_CERT_CONTEXT, &after),
              known);
    if (known == SEC_E_OK) {
        ASSERT_EQ(after->cbCertEncoded, before->cbCertEncoded);
        EXPECT_TRUE(std::equal(after->pbCertEncoded, after->pbCertEncoded + after->cbCertEncoded,
                               before->pbCertEncoded));
        platform::CertFreeCertificateContext(before);
        platform::CertFreeCertificateContext(after);
    }
}

TEST_P(Records, wrongSequenceNumberIsAlteredMessage) {
    for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{2}, ~std::uint64_t{0}}) {
        Connection connection = establish();
        const Bytes record = connection.peersKeys().seal({.sequence = number}, "data");
        EXPECT_EQ(openRejected(record, connection), SEC_E_MESSAGE_ALTERED);
    }
}

TEST_P(Records, changedTypeIsAlteredMessage) {
    for (const unsigned char type : Bytes{20, 21, 22}) {
        Connection connection = establish();
        Bytes record = connection.peersKeys().seal({}, "data");
        record[0] = type;
        EXPECT_EQ(openRejected(record, connection), SEC_E_MESSAGE_ALTERED);
    }
}

TEST_P(Records, otherVersionIsIllegal) {
    for (const unsigned char minor : Bytes{0, 1, 2, 4, 255}) {
        Connection connection = establish();
        const Bytes record = connection.peersKeys().seal({.minorVersion = minor}, "data");
        EXPECT_EQ(openRejected(record, connection), SEC_E_ILLEGAL_MESSAGE);
    }
}

TEST_P(Records, changedTagIsAlteredMessage) {
    Connection connection = establish();
    Bytes record = connection.peersKeys().seal({}, "data");
    record[record.size() - 16] ^= 0x80;
    EXPECT_EQ(openRejected(record, connection), SEC_E_MESSAGE_ALTERED);
}

TEST_P(ExplicitNonces, changedExplicitNonceIsAlteredMessage) {
    Connection connection = establish();
    Bytes record = connection.peersKeys().seal({}, "data");
    record[5] ^= 1;
    EXPECT_EQ(openRejected(record, connection), SEC_E_MESSAGE_ALTERED);
}

TEST_P(Records, recordTooShortForNonceAndTagIsAlteredMessage) {
    const std::size_t needed = establish().peersKeys().hasExplicitNonce() ? 24 : 16;
    for (const std::size_t payload : {std::size_t{0}, std::size_t{8}, needed - 1}) {
        Connection connection = establish();
        const Bytes record =
            Bytes{23, 3, 3, 0, static_cast<unsigned char>(payload)} + Bytes(payload);
        EXPECT_EQ(openRejected(record, connection), SEC_E_MESSAGE_ALTERED) << payload;
    }
}

TEST_P(Records, recordAboveTheMaximumIsIllegal) {
    for (const std::size_t size : {16385U, 16640U, 18000U}) {
        Connection connection = establish();
        const Bytes record = connection.peersKeys().seal({}, Bytes(size));
        EXPECT_EQ(openRejected(record, connection), SEC_E_ILLEGAL_MESSAGE);
    }
}

TEST_P(Records, recordLongerThanAnyCiphertextIsInvalidToken) {
    Connection connection = establish();
    EXPECT_EQ(openRejected(Bytes{23, 3, 3, 0x48, 0x01} + Bytes(0x4801), connection),
              SEC_E_INVALID_TOKEN);
}

TEST_P(Records, tooManyEmptyRecordsInRowAreIllegal) {
    Connection connection = establish();
    const TrafficForge forge = connection.peersKeys();
    constexpr std::uint64_t tolerated = 32;
    std::uint64_t number = 1;
    for (int round = 0; round < 2; ++round) { // data in between resets the count
        for (std::uint64_t i = 0; i < tolerated; ++i, ++number) {
            EXPECT_EQ(connection.side.open(forge.seal({.sequence = number}, "")).status, SEC_E_OK);
        }
        if (round == 0) {
            EXPECT_EQ(connection.side.openAll(forge.seal({.sequence = number++}, "data")), "data");
        }
    }
    EXPECT_EQ(connection.side.open(forge.seal({.sequence = number}, "")).status,
              SEC_E_ILLEGAL_MESSAGE);
}

TEST_P(Records, emptyRecordOfOtherTypeIsIllegal) {
    for (const unsigned char type : Bytes{20, 21, 22}) {
        Connection connection = establish();
        EXPECT_EQ(openRejected(connection.peersKeys().seal({.type = type}, ""), connection),
                  SEC_E_ILLEGAL_MESSAGE);
    }
}

TEST_P(Records, fifthWarningInRowIsIllegal) {
    const Bytes warning = {1, 90};
    Connection connection = establish();
    const TrafficForge forge = connection.peersKeys();
    std::uint64_t number = 1;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(
                connection.side.open(forge.seal({.sequence = number++, .type = alertType}, warning))
                    .status,
                SEC_E_OK);
        }
        if (round == 0) {
            EXPECT_EQ(connection.side.openAll(forge.seal({.sequence = number++}, "data")), "data");
        }
    }
    EXPECT_EQ(
        connection.side.open(forge.seal({.sequence = number, .type = alertType}, warning)).status,
        SEC_E_ILLEGAL_MESSAGE);
}

TEST_P(Records, malformedAlertIsIllegal) {
    constexpr unsigned char noRenegotiation = 100;
    const Bytes alerts[] = {{1},     {1, 90, 0}, {1, 90, 1, 90},      {0, 90},
                            {3, 90}, {0, 0},     {1, noRenegotiation}};
    for (const Bytes& alert : alerts) {
        Connection connection = establish();
        EXPECT_EQ(openRejected(connection.peersKeys().seal({.type = alertType}, alert), connection),
                  SEC_E_ILLEGAL_MESSAGE);
    }
}

TEST_P(Records, fatalClosureEndsBothDirections) {
    Connection connection = establish();
    const Bytes closure = connection.peersKeys().seal({.type = alertType}, Bytes{2, 0});
    EXPECT_EQ(openRejected(closure, connection), SEC_E_CONTEXT_EXPIRED);
}

std::string caseName(const ::testing::TestParamInfo<Case>& tested) {
    const std::string suite = std::get<0>(tested.param);
    const std::string cipher = suite.find("CHACHA") != std::string::npos   ? "ChaCha20"
                               : suite.find("AES128") != std::string::npos ? "Aes128"
                                                                           : "Aes256";
    return cipher + (std::get<1>(tested.param) == OwnRole::client ? "Client" : "Server");
}

constexpr const char* gcmSuites[] = {"ECDHE-ECDSA-AES128-GCM-SHA256",
                                     "ECDHE-ECDSA-AES256-GCM-SHA384"};
constexpr const char* allSuites[] = {gcmSuites[0], gcmSuites[1], "ECDHE-ECDSA-CHACHA20-POLY1305"};
constexpr OwnRole bothRoles[] = {OwnRole::client, OwnRole::server};

INSTANTIATE_TEST_SUITE_P(All, Records,
                         ::testing::Combine(::testing::ValuesIn(allSuites),
                                            ::testing::ValuesIn(bothRoles)),
                         caseName);
INSTANTIATE_TEST_SUITE_P(All, ExplicitNonces,
                         ::testing::Combine(::testing::ValuesIn(gcmSuites),
                                            ::testing::ValuesIn(bothRoles)),
                         caseName);

class FinishedMessage : public ::testing::Test {
protected:
    const ScopedCertificates certificates;
};

// A peer may send its Finished message in several records. Each takes a sequence number.
TEST_F(FinishedMessage, finishedInTwoRecordsTakesTwoSequenceNumbers) {
    PeerSettings settings;
    settings.suites = "ECDHE-ECDSA-AES128-GCM-SHA256";
    Side server = Side::server();
    RawPeer client = RawPeer::client(settings);
    const Bytes answer = server.receive(client.step()).token;
    std::vector<Bytes> flight = recordsIn(client.step(answer));
    const TrafficForge forge(client, TrafficForge::Direction::fromPeer);
    Bytes finished;
    ASSERT_TRUE(forge.open(0, flight.back(), finished));
    flight.back() =
        forge.seal({.sequence = 0, .type = handshakeType, .explicitNonce = 500},
                   part(finished, 0, 7)) +
        forge.seal({.sequence = 1, .type = handshakeType, .explicitNonce = 501}, part(finished, 7));
    Step last;
    for (const Bytes& record : flight) {
        last = server.receive(record);
    }
    ASSERT_EQ(last.status, SEC_E_OK);
    client.step(last.token);
    EXPECT_EQ(client.openOne(server.protect("answer")), "answer");
    EXPECT_EQ(server.openAll(forge.seal({.sequence = 2, .explicitNonce = 502}, "data")), "data");
}

TEST_F(FinishedMessage, helloRequestInTheRecordOfFinishedIsIllegal) {
    PeerSettings settings;
    settings.suites = "ECDHE-ECDSA-AES128-GCM-SHA256";
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", settings);
    const Bytes answer = client.receive(server.step(client.step().token)).token;
    std::vector<Bytes> flight = recordsIn(server.step(answer));
    const TrafficForge forge(server, TrafficForge::Direction::fromPeer);
    Bytes finished;
    ASSERT_TRUE(forge.open(0, flight.back(), finished));
    const Bytes helloRequest = {0, 0, 0, 0};
    flight.back() = forge.seal({.sequence = 0, .type = handshakeType}, finished + helloRequest);
    Step last;
    for (const Bytes& record : flight) {
        last = client.receive(record);
    }
    EXPECT_EQ(last.status, SEC_E_ILLEGAL_MESSAGE);
}

} // namespace
} // namespace VexaSsl::test
