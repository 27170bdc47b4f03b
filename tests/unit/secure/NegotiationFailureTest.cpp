#include "secure/NegotiationFailure.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>

namespace VexaSsl::test {
namespace {

using namespace std::string_literals;
using Cause = FailureCause;

// Handshake records and alerts in the clear.
const std::string serverHello = "\x16\x03\x03\x00\x04wxyz"s;
const std::string untrusted = "\x15\x03\x03\x00\x02\x02\x30"s;    // fatal, unknown_ca
const std::string wrongVersion = "\x15\x03\x03\x00\x02\x02\x46"s; // fatal, protocol_version
const std::string tooWeak = "\x15\x03\x03\x00\x02\x02\x47"s;      // fatal, insufficient_security
const std::string unknownName = "\x15\x03\x03\x00\x02\x01\x70"s;  // warning, unrecognized_name
const std::string sealedAlert = "\x15\x03\x03\x00\x1a\x02\x30"s + std::string(24, '\0');

struct Status {
    SECURITY_STATUS status;
    Cause onClient;
    Cause onServer;
};

class CauseOfStatus : public testing::TestWithParam<Status> {};

TEST_P(CauseOfStatus, withoutAnAlertIsThatOfTheRole) {
    EXPECT_EQ(causeOfNegotiation(GetParam().status, false, serverHello), GetParam().onClient);
    EXPECT_EQ(causeOfNegotiation(GetParam().status, true, serverHello), GetParam().onServer);
}

TEST_P(CauseOfStatus, withAFatalAlertIsThePeer) {
    for (const bool isServer : {false, true}) {
        EXPECT_EQ(causeOfNegotiation(GetParam().status, isServer, untrusted), Cause::PeerRefused);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, CauseOfStatus,
    testing::Values(Status{SEC_E_UNTRUSTED_ROOT, Cause::PeerNotTrusted, Cause::PeerRefused},
                    Status{SEC_E_CERT_UNKNOWN, Cause::PeerNotTrusted, Cause::PeerRefused},
                    Status{SEC_E_CERT_WRONG_USAGE, Cause::PeerNotTrusted, Cause::PeerRefused},
                    Status{SEC_E_WRONG_PRINCIPAL, Cause::NameMismatch, Cause::PeerRefused},
                    Status{SEC_E_CERT_EXPIRED, Cause::Expired, Cause::PeerRefused},
                    Status{SEC_E_LOGON_DENIED, Cause::PeerRefused, Cause::PeerRefused},
                    Status{SEC_E_CONTEXT_EXPIRED, Cause::PeerRefused, Cause::PeerRefused},
                    Status{SEC_E_NO_CREDENTIALS, Cause::OwnCertificate, Cause::OwnCertificate},
                    Status{SEC_E_UNKNOWN_CREDENTIALS, Cause::OwnCertificate, Cause::OwnCertificate},
                    Status{SEC_E_INSUFFICIENT_MEMORY, Cause::Memory, Cause::Memory},
                    Status{SEC_E_ALGORITHM_MISMATCH, Cause::Protocol, Cause::Protocol},
                    Status{SEC_E_ILLEGAL_MESSAGE, Cause::Protocol, Cause::Protocol},
                    Status{SEC_E_INTERNAL_ERROR, Cause::Protocol, Cause::Protocol}));

TEST(CauseOfAlert, aboutVersionOrStrengthIsTheProtocol) {
    for (const std::string& alert : {wrongVersion, tooWeak}) {
        EXPECT_EQ(causeOfNegotiation(SEC_E_UNTRUSTED_ROOT, false, alert), Cause::Protocol);
    }
}

struct Records {
    const char* name;
    std::string bytes;
    int alert; // -1 for none
};

void PrintTo(const Records& tested, std::ostream* stream) {
    *stream << tested.name;
}

class FatalAlert : public testing::TestWithParam<Records> {};

TEST_P(FatalAlert, isTheFirstAmongWholeRecords) {
    EXPECT_EQ(fatalAlertIn(GetParam().bytes).value_or(-1), GetParam().alert);
}

INSTANTIATE_TEST_SUITE_P(
    Records, FatalAlert,
    testing::Values(Records{"nothing", "", -1}, Records{"alone", untrusted, 48},
                    Records{"lastDescription", "\x15\x03\x03\x00\x02\x02\xff"s, 255},
                    Records{"afterAnotherRecord", serverHello + untrusted, 48},
                    Records{"beforeAnotherRecord", untrusted + serverHello, 48},
                    Records{"afterAWarning", unknownName + untrusted, 48},
                    Records{"warning", unknownName + serverHello, -1},
                    Records{"encrypted", sealedAlert, -1},
                    Records{"insideARecord", "\x16\x03\x03\x00\x07"s + untrusted, -1},
                    Records{"afterALongRecord",
                            "\x16\x03\x03\x01\x02"s + std::string(258, 'x') + untrusted, 48},
                    Records{"cutInItsHeader", untrusted.substr(0, 4), -1},
                    Records{"cutInItsContent", untrusted.substr(0, 6), -1},
                    Records{"empty", "\x15\x03\x03\x00\x00"s, -1}),
    [](const auto& tested) { return tested.param.name; });

} // namespace
} // namespace VexaSsl::test
