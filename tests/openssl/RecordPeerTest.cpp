// The records of a connection whose other end is OpenSSL's own: every suite, both roles, both
// directions, and records at fault field by field.
#include "contract/support/TestCertificates.h"
#include "openssl/TrafficForge.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>

namespace VexaSsl::test {
namespace {

enum class Ours { client, server };

// A side of ours and a peer that have shaken hands, flight by flight.
struct Meeting {
    Meeting(Ours role, const PeerSettings& settings)
        : side(role == Ours::client ? Side::client() : Side::server()),
          peer(role == Ours::client ? RawPeer::server("server-ecdsa", settings)
                                    : RawPeer::client(settings)) {
        if (role == Ours::client) {
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
    Bytes ourFlight; // with our Finished at its end
};

using Case = std::tuple<const char*, Ours>;

class Records : public ::testing::TestWithParam<Case> {
protected:
    static Meeting meet() {
        PeerSettings settings;
        settings.suites = std::get<0>(GetParam());
        Meeting meeting(std::get<1>(GetParam()), settings);
        EXPECT_TRUE(meeting.established());
        return meeting;
    }
    // The status of a record that the peer is made to have sent first, and of what follows it.
    static SECURITY_STATUS judged(const Bytes& record, Meeting& meeting) {
        const Opened opened = meeting.side.open(record);
        EXPECT_TRUE(opened.plaintext.empty());
        EXPECT_EQ(meeting.side.open(meeting.peer.protect("later")).status, opened.status);
        return opened.status;
    }

    const ScopedCertificates certificates;
};

// The suites whose records carry a part of their nonce.
class ExplicitNonces : public Records {};

constexpr std::size_t sizes[] = {1, 2, 15, 16, 17, 255, 256, 1023, 4096, 16383, 16384};

TEST_P(Records, ofEverySizeReachThePeer) {
    Meeting meeting = meet();
    for (const std::size_t size : sizes) {
        const std::string text(size, static_cast<char>('a' + size % 26));
        EXPECT_EQ(meeting.peer.openOne(meeting.side.protect(text)), text);
    }
}

TEST_P(Records, ofEverySizeComeFromThePeer) {
    Meeting meeting = meet();
    for (const std::size_t size : sizes) {
        const std::string text(size, static_cast<char>('a' + size % 26));
        EXPECT_EQ(meeting.side.openAll(meeting.peer.protect(text)), text);
    }
}

TEST_P(Records, withoutDataComeFromThePeerAndCount) {
    Meeting meeting = meet();
    const TrafficForge forge = meeting.peersKeys();
    const Opened opened = meeting.side.open(forge.seal({.sequence = 1, .explicitNonce = 77}, ""));
    EXPECT_EQ(opened.status, SEC_E_OK);
    EXPECT_TRUE(opened.plaintext.empty());
    const Bytes next = forge.seal({.sequence = 2, .explicitNonce = 78}, "behind it");
    EXPECT_EQ(meeting.side.openAll(next), "behind it");
}

TEST_P(Records, areNumberedBehindTheFinishedMessage) {
    Meeting meeting = meet();
    const TrafficForge forge = meeting.ourKeys();
    Bytes plaintext;
    EXPECT_TRUE(forge.open(0, recordsIn(meeting.ourFlight).back(), plaintext));
    EXPECT_EQ(plaintext.size(), 16U); // a Finished message
    for (std::uint64_t number = 1; number < 100; ++number) {
        const Bytes record = meeting.side.protect("data");
        EXPECT_FALSE(forge.open(number - 1, record, plaintext));
        EXPECT_TRUE(forge.open(number, record, plaintext));
        EXPECT_EQ(textOf(plaintext), "data");
    }
}

TEST_P(ExplicitNonces, areNeverUsedTwice) {
    Meeting meeting = meet();
    std::set<std::uint64_t> nonces = {explicitNonceIn(recordsIn(meeting.ourFlight).back())};
    constexpr std::size_t count = 3000;
    for (std::size_t i = 0; i < count; ++i) {
        nonces.insert(explicitNonceIn(meeting.side.protect("x")));
    }
    EXPECT_EQ(nonces.size(), count + 1);
}

TEST_P(ExplicitNonces, areThePeersToChoose) {
    Meeting meeting = meet();
    const TrafficForge forge = meeting.peersKeys();
    std::uint64_t number = 1;
    for (const std::uint64_t nonce : {std::uint64_t{0}, ~std::uint64_t{0}, std::uint64_t{5}}) {
        const Bytes record = forge.seal({.sequence = number++, .explicitNonce = nonce}, "data");
        EXPECT_EQ(meeting.side.openAll(record), "data");
    }
}

TEST_P(Records, leaveThePeersCertificateKnown) {
    Meeting meeting = meet();
    PCCERT_CONTEXT before = nullptr;
    const SECURITY_STATUS known = platform::QueryContextAttributesW(
        meeting.side.context(), SECPKG_ATTR_REMOTE_CERT_CONTEXT, &before);
    EXPECT_EQ(known, std::get<1>(GetParam()) == Ours::client ? SEC_E_OK : SEC_E_NO_CREDENTIALS);
    EXPECT_EQ(meeting.side.openAll(meeting.peer.protect("data")), "data");
    PCCERT_CONTEXT behind = nullptr;
    EXPECT_EQ(platform::QueryContextAttributesW(meeting.side.context(),
                                                SECPKG_ATTR_REMOTE_CERT_CONTEXT, &behind),
              known);
    if (known == SEC_E_OK) {
        ASSERT_EQ(behind->cbCertEncoded, before->cbCertEncoded);
        EXPECT_TRUE(std::equal(behind->pbCertEncoded, behind->pbCertEncoded + behind->cbCertEncoded,
                               before->pbCertEncoded));
        platform::CertFreeCertificateContext(before);
        platform::CertFreeCertificateContext(behind);
    }
}

TEST_P(Records, withAnotherNumberAreAltered) {
    for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{2}, ~std::uint64_t{0}}) {
        Meeting meeting = meet();
        const Bytes record = meeting.peersKeys().seal({.sequence = number}, "data");
        EXPECT_EQ(judged(record, meeting), SEC_E_MESSAGE_ALTERED);
    }
}

TEST_P(Records, withAnotherTypeAreAltered) {
    for (const unsigned char type : Bytes{20, 21, 22}) {
        Meeting meeting = meet();
        Bytes record = meeting.peersKeys().seal({}, "data");
        record[0] = type;
        EXPECT_EQ(judged(record, meeting), SEC_E_MESSAGE_ALTERED);
    }
}

TEST_P(Records, ofAnotherVersionAreIllegal) {
    for (const unsigned char minor : Bytes{0, 1, 2, 4, 255}) {
        Meeting meeting = meet();
        const Bytes record = meeting.peersKeys().seal({.minorVersion = minor}, "data");
        EXPECT_EQ(judged(record, meeting), SEC_E_ILLEGAL_MESSAGE);
    }
}

TEST_P(Records, withAChangedTagAreAltered) {
    Meeting meeting = meet();
    Bytes record = meeting.peersKeys().seal({}, "data");
    record[record.size() - 16] ^= 0x80;
    EXPECT_EQ(judged(record, meeting), SEC_E_MESSAGE_ALTERED);
}

TEST_P(ExplicitNonces, thatWereChangedAreNoticed) {
    Meeting meeting = meet();
    Bytes record = meeting.peersKeys().seal({}, "data");
    record[5] ^= 1;
    EXPECT_EQ(judged(record, meeting), SEC_E_MESSAGE_ALTERED);
}

TEST_P(Records, tooShortForNonceAndTagAreAltered) {
    const std::size_t needed = meet().peersKeys().hasExplicitNonce() ? 24 : 16;
    for (const std::size_t payload : {std::size_t{0}, std::size_t{8}, needed - 1}) {
        Meeting meeting = meet();
        const Bytes record =
            Bytes{23, 3, 3, 0, static_cast<unsigned char>(payload)} + Bytes(payload);
        EXPECT_EQ(judged(record, meeting), SEC_E_MESSAGE_ALTERED) << payload;
    }
}

TEST_P(Records, longerThanTheMaximumAreIllegal) {
    for (const std::size_t size : {16385U, 16640U, 18000U}) {
        Meeting meeting = meet();
        const Bytes record = meeting.peersKeys().seal({}, Bytes(size));
        EXPECT_EQ(judged(record, meeting), SEC_E_ILLEGAL_MESSAGE);
    }
}

TEST_P(Records, longerThanAnyRecordAreNoTls) {
    Meeting meeting = meet();
    EXPECT_EQ(judged(Bytes{23, 3, 3, 0x48, 0x01} + Bytes(0x4801), meeting), SEC_E_INVALID_TOKEN);
}

TEST_P(Records, withoutEndAndWithoutDataAreIllegal) {
    Meeting meeting = meet();
    const TrafficForge forge = meeting.peersKeys();
    constexpr std::uint64_t tolerated = 32;
    std::uint64_t number = 1;
    for (int round = 0; round < 2; ++round) { // data in between begins the count anew
        for (std::uint64_t i = 0; i < tolerated; ++i, ++number) {
            EXPECT_EQ(meeting.side.open(forge.seal({.sequence = number}, "")).status, SEC_E_OK);
        }
        if (round == 0) {
            EXPECT_EQ(meeting.side.openAll(forge.seal({.sequence = number++}, "data")), "data");
        }
    }
    EXPECT_EQ(meeting.side.open(forge.seal({.sequence = number}, "")).status,
              SEC_E_ILLEGAL_MESSAGE);
}

TEST_P(Records, ofOtherTypesWithoutContentAreIllegal) {
    for (const unsigned char type : Bytes{20, 21, 22}) {
        Meeting meeting = meet();
        EXPECT_EQ(judged(meeting.peersKeys().seal({.type = type}, ""), meeting),
                  SEC_E_ILLEGAL_MESSAGE);
    }
}

TEST_P(Records, ofWarningsAreToleratedFourTimesOnEnd) {
    constexpr unsigned char alertType = 21;
    const Bytes warning = {1, 90};
    Meeting meeting = meet();
    const TrafficForge forge = meeting.peersKeys();
    std::uint64_t number = 1;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(
                meeting.side.open(forge.seal({.sequence = number++, .type = alertType}, warning))
                    .status,
                SEC_E_OK);
        }
        if (round == 0) {
            EXPECT_EQ(meeting.side.openAll(forge.seal({.sequence = number++}, "data")), "data");
        }
    }
    EXPECT_EQ(
        meeting.side.open(forge.seal({.sequence = number, .type = alertType}, warning)).status,
        SEC_E_ILLEGAL_MESSAGE);
}

TEST_P(Records, ofAlertsThatAreNoneAreIllegal) {
    constexpr unsigned char alertType = 21;
    constexpr unsigned char noRenegotiation = 100;
    const Bytes alerts[] = {{1},     {1, 90, 0}, {1, 90, 1, 90},      {0, 90},
                            {3, 90}, {0, 0},     {1, noRenegotiation}};
    for (const Bytes& alert : alerts) {
        Meeting meeting = meet();
        EXPECT_EQ(judged(meeting.peersKeys().seal({.type = alertType}, alert), meeting),
                  SEC_E_ILLEGAL_MESSAGE);
    }
}

TEST_P(Records, ofAFatalClosureEndBothDirections) {
    constexpr unsigned char alertType = 21;
    Meeting meeting = meet();
    const Bytes closure = meeting.peersKeys().seal({.type = alertType}, Bytes{2, 0});
    EXPECT_EQ(judged(closure, meeting), SEC_E_CONTEXT_EXPIRED);
}

std::string printed(const ::testing::TestParamInfo<Case>& tested) {
    const std::string suite = std::get<0>(tested.param);
    const std::string cipher = suite.find("CHACHA") != std::string::npos   ? "ChaCha20"
                               : suite.find("AES128") != std::string::npos ? "Aes128"
                                                                           : "Aes256";
    return cipher + (std::get<1>(tested.param) == Ours::client ? "Client" : "Server");
}

constexpr const char* gcmSuites[] = {"ECDHE-ECDSA-AES128-GCM-SHA256",
                                     "ECDHE-ECDSA-AES256-GCM-SHA384"};
constexpr const char* allSuites[] = {gcmSuites[0], gcmSuites[1], "ECDHE-ECDSA-CHACHA20-POLY1305"};
constexpr Ours bothRoles[] = {Ours::client, Ours::server};

INSTANTIATE_TEST_SUITE_P(All, Records,
                         ::testing::Combine(::testing::ValuesIn(allSuites),
                                            ::testing::ValuesIn(bothRoles)),
                         printed);
INSTANTIATE_TEST_SUITE_P(All, ExplicitNonces,
                         ::testing::Combine(::testing::ValuesIn(gcmSuites),
                                            ::testing::ValuesIn(bothRoles)),
                         printed);

class FinishedMessage : public ::testing::Test {
protected:
    const ScopedCertificates certificates;
};

// A peer may cut its Finished message into several records. Each of them takes a number.
TEST_F(FinishedMessage, inTwoRecordsOfThePeerCountsAsTwo) {
    PeerSettings settings;
    settings.suites = "ECDHE-ECDSA-AES128-GCM-SHA256";
    Side server = Side::server();
    RawPeer client = RawPeer::client(settings);
    const Bytes answer = server.receive(client.step()).token;
    std::vector<Bytes> flight = recordsIn(client.step(answer));
    const TrafficForge forge(client, TrafficForge::Direction::fromPeer);
    Bytes finished;
    ASSERT_TRUE(forge.open(0, flight.back(), finished));
    constexpr unsigned char handshakeType = 22;
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

} // namespace
} // namespace VexaSsl::test
