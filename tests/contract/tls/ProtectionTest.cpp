// Records: protected and opened in place, one per call, with exact counts.
#include "contract/support/ContractTest.h"
#include "contract/support/RecordForge.h"
#include "contract/support/TestCertificates.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class Protection : public ContractTest {
protected:
    Protection() { runHandshake(client, server); }

    const ScopedCertificates certificates;
    Side client = Side::client();
    Side server = Side::server();
};

TEST_F(Protection, everyLengthUpToTheMaximumIsOpened) {
    for (const std::size_t length : {1U, 2U, 15U, 16U, 17U, 255U, 4096U, 16383U, 16384U}) {
        const std::string text(length, static_cast<char>('a' + length % 26));
        const Bytes record = client.protect(text);
        EXPECT_EQ(record.size(), 13U + length + 16U);
        EXPECT_EQ(recordSizes(record).size(), 1U);
        EXPECT_EQ(server.openAll(record), text);
    }
}

TEST_F(Protection, tooLongMessageIsRefusedAndHarmsNothing) {
    EXPECT_EQ(client.protectStatus(Bytes(16385)), SEC_E_INVALID_TOKEN);
    EXPECT_EQ(server.openAll(client.protect("still fine")), "still fine");
}

TEST_F(Protection, emptyMessageIsProtectedOrRefusedAndHarmsNothing) {
    const SECURITY_STATUS status = client.protectStatus({});
    EXPECT_TRUE(status == SEC_E_OK || status == SEC_E_UNSUPPORTED_FUNCTION) << status;
    if (status != SEC_E_OK) {
        EXPECT_EQ(server.openAll(client.protect("still fine")), "still fine");
    }
}

TEST_F(Protection, plaintextLiesInsideTheInput) {
    const Opened opened = server.open(client.protect("in place"));
    EXPECT_EQ(opened.plaintextAt, 13U);
    EXPECT_EQ(textOf(opened.plaintext), "in place");
    const std::vector<ULONG> types = {SECBUFFER_STREAM_HEADER, SECBUFFER_DATA,
                                      SECBUFFER_STREAM_TRAILER, SECBUFFER_EMPTY};
    EXPECT_EQ(opened.types, types);
}

TEST_F(Protection, oneRecordIsOpenedAndTheRestIsExtra) {
    const Bytes first = client.protect("first");
    const Bytes second = client.protect("second");
    const Bytes third = client.protect("third");
    const Opened opened = server.open(first + second + part(third, 0, 7));
    EXPECT_EQ(textOf(opened.plaintext), "first");
    EXPECT_EQ(opened.extra, second.size() + 7);
    EXPECT_EQ(part(opened.memory, first.size()), second + part(third, 0, 7));
    EXPECT_EQ(server.openAll(second + third), "secondthird");
}

TEST_F(Protection, exactlyOneRecordLeavesNoExtra) {
    EXPECT_EQ(server.open(client.protect("all")).extra, 0U);
}

TEST_F(Protection, missingCountIsExactAtEveryByte) {
    const Bytes record = client.protect("hello");
    for (std::size_t have = 0; have < record.size(); ++have) {
        const Opened opened = server.open(part(record, 0, have));
        ASSERT_EQ(opened.status, SEC_E_INCOMPLETE_MESSAGE);
        ASSERT_EQ(opened.missing, have < 5 ? 5 - have : record.size() - have);
        ASSERT_EQ(opened.memory, part(record, 0, have));
    }
    EXPECT_EQ(server.openAll(record), "hello");
}

TEST_F(Protection, tooFewEntriesAreRefused) {
    Bytes record = client.protect("hello");
    SecBuffer entries[3] = {};
    entries[0] = {static_cast<ULONG>(record.size()), SECBUFFER_DATA, record.data()};
    SecBufferDesc message{SECBUFFER_VERSION, 3, entries};
    EXPECT_EQ(platform::DecryptMessage(server.context(), &message, 0, nullptr),
              SEC_E_INVALID_TOKEN);
    EXPECT_EQ(server.openAll(record), "hello");
}

TEST_F(Protection, contextInHandshakeIsInvalidHandle) {
    Side early = Side::client();
    early.step();
    Bytes memory(100);
    SecBuffer entries[4] = {};
    entries[0] = {100, SECBUFFER_DATA, memory.data()};
    SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
    EXPECT_EQ(platform::DecryptMessage(early.context(), &message, 0, nullptr),
              SEC_E_INVALID_HANDLE);
    EXPECT_EQ(platform::EncryptMessage(early.context(), 0, &message, 0), SEC_E_INVALID_HANDLE);
    SecPkgContext_StreamSizes sizes{};
    EXPECT_EQ(platform::QueryContextAttributesW(early.context(), SECPKG_ATTR_STREAM_SIZES, &sizes),
              SEC_E_INVALID_HANDLE);
}

bool holdsPart(const Bytes& memory, const std::string& secret) {
    const std::string text = textOf(memory);
    for (std::size_t at = 0; at + 4 <= secret.size(); ++at) {
        if (text.find(secret.substr(at, 4)) != std::string::npos) {
            return true;
        }
    }
    return false;
}

TEST_F(Protection, everyChangedByteIsDetectedWithoutPlaintext) {
    const std::string secret = "a secret of some length";
    const std::size_t size = client.protect(secret).size();
    for (std::size_t at = 0; at < size; ++at) {
        Side sender = Side::client();
        Side receiver = Side::server();
        runHandshake(sender, receiver);
        Bytes record = sender.protect(secret);
        record[at] ^= 0x40;
        const Bytes changed = record + Bytes(70000); // a changed length must not be incomplete
        const Opened opened = receiver.open(changed);
        ASSERT_LT(opened.status, 0) << "byte " << at;
        ASSERT_NE(opened.status, SEC_E_INCOMPLETE_MESSAGE) << "byte " << at;
        ASSERT_TRUE(opened.plaintext.empty()) << "byte " << at;
        ASSERT_FALSE(holdsPart(opened.memory, secret)) << "byte " << at;
        ASSERT_NE(receiver.open(sender.protect("later")).status, SEC_E_OK) << "byte " << at;
    }
}

TEST_F(Protection, changedTagIsAlteredMessage) {
    Bytes record = client.protect("hello");
    record.back() ^= 1;
    EXPECT_EQ(server.open(record).status, SEC_E_MESSAGE_ALTERED);
}

TEST_F(Protection, repeatedRecordIsAlteredMessage) {
    const Bytes record = client.protect("once");
    EXPECT_EQ(server.openAll(record), "once");
    EXPECT_EQ(server.open(record).status, SEC_E_MESSAGE_ALTERED);
}

TEST_F(Protection, omittedRecordIsAlteredMessage) {
    client.protect("lost");
    EXPECT_EQ(server.open(client.protect("next")).status, SEC_E_MESSAGE_ALTERED);
}

TEST_F(Protection, failureEndsTheStreamAndIsRepeatedForSending) {
    Bytes record = server.protect("hello");
    record.back() ^= 1;
    ASSERT_EQ(client.open(record).status, SEC_E_MESSAGE_ALTERED);
    EXPECT_EQ(client.open(server.protect("fine")).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(client.open(bytesOf("not TLS")).status, SEC_I_CONTEXT_EXPIRED);
    Bytes memory(64);
    SecBuffer entries[4] = {};
    entries[0] = {13, SECBUFFER_STREAM_HEADER, memory.data()};
    entries[1] = {5, SECBUFFER_DATA, memory.data() + 13};
    entries[2] = {16, SECBUFFER_STREAM_TRAILER, memory.data() + 18};
    SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
    EXPECT_EQ(platform::EncryptMessage(client.context(), 0, &message, 0), SEC_E_MESSAGE_ALTERED);
}

TEST_F(Protection, nonTlsBytesAreRefusedAtOnce) {
    EXPECT_EQ(server.open(bytesOf("G")).status, SEC_E_INVALID_TOKEN);
    EXPECT_EQ(server.open(client.protect("hello")).status, SEC_I_CONTEXT_EXPIRED);
}

TEST_F(Protection, recordsTooShortForTheTagAreRefused) {
    for (const std::size_t payload : {0U, 1U, 8U, 23U}) {
        Side receiver = Side::server();
        Side sender = Side::client();
        runHandshake(sender, receiver);
        const Bytes record =
            Bytes{23, 3, 3, 0, static_cast<unsigned char>(payload)} + Bytes(payload);
        const Opened opened = receiver.open(record);
        EXPECT_LT(opened.status, 0) << payload;
        EXPECT_NE(opened.status, SEC_E_INCOMPLETE_MESSAGE) << payload;
    }
}

// Alert descriptions.
enum Alert : unsigned char {
    unexpectedMessage = 10,
    badRecordMac = 20,
    badCertificate = 42,
    certificateExpired = 45,
    unknownAuthority = 48,
    accessDenied = 49,
    decryptError = 51,
    internalError = 80,
    userCancelled = 90,
};

// Records that no TLS library sends.
class ForgedRecords : public ContractTest {
protected:
    // A client, a server, and a forge with the client's keys.
    struct Forgery {
        static const RawPeer& established(RawPeer& client, Side& receiver) {
            runHandshake(client, receiver);
            return client;
        }
        Opened open(unsigned char type, const Bytes& plaintext) {
            return server.open(forge.record(type, plaintext));
        }

        RawPeer peer = RawPeer::client();
        Side server = Side::server();
        RecordForge forge{established(peer, server)};
    };

    const ScopedCertificates certificates;
};

TEST_F(ForgedRecords, emptyRecordGivesEmptyData) {
    Forgery forged;
    const Opened opened = forged.open(23, {});
    EXPECT_EQ(opened.status, SEC_E_OK);
    EXPECT_TRUE(opened.plaintext.empty());
    EXPECT_EQ(opened.types[1], SECBUFFER_DATA);
    EXPECT_EQ(forged.server.openAll(forged.forge.record(23, bytesOf("next"))), "next");
}

TEST_F(ForgedRecords, emptyRecordLeavesTheNextAsExtra) {
    Forgery forged;
    const Bytes empty = forged.forge.record(23, {});
    const Bytes next = forged.forge.record(23, bytesOf("next"));
    const Opened opened = forged.server.open(empty + next);
    EXPECT_EQ(opened.status, SEC_E_OK);
    EXPECT_EQ(opened.extra, next.size());
    EXPECT_EQ(forged.server.openAll(next), "next");
}

TEST_F(ForgedRecords, recordAboveTheMaximumIsRefused) {
    Forgery forged;
    const Opened opened = forged.open(23, Bytes(16385));
    EXPECT_LT(opened.status, 0);
    EXPECT_NE(opened.status, SEC_E_INCOMPLETE_MESSAGE);
}

TEST_F(ForgedRecords, warningAlertGivesEmptyData) {
    Forgery forged;
    constexpr unsigned char warning = 1;
    const Opened opened = forged.open(21, {warning, userCancelled});
    EXPECT_EQ(opened.status, SEC_E_OK);
    EXPECT_TRUE(opened.plaintext.empty());
    EXPECT_EQ(forged.server.openAll(forged.forge.record(23, bytesOf("more"))), "more");
}

TEST_F(ForgedRecords, changeCipherSpecIsIllegal) {
    Forgery forged;
    EXPECT_EQ(forged.open(20, {1}).status, SEC_E_ILLEGAL_MESSAGE);
}

TEST_F(ForgedRecords, helloRequestToServerChangesNothing) {
    Forgery forged;
    EXPECT_EQ(forged.open(22, {0, 0, 0, 0}).status, SEC_I_RENEGOTIATE);
    EXPECT_EQ(forged.server.openAll(forged.forge.record(23, bytesOf("more"))), "more");
}

TEST_F(ForgedRecords, otherHandshakeMessageIsIllegal) {
    constexpr unsigned char serverHello = 2;
    constexpr unsigned char certificate = 11;
    constexpr unsigned char finished = 20;
    for (const unsigned char message : {serverHello, certificate, finished}) {
        Forgery forged;
        EXPECT_EQ(forged.open(22, {message, 0, 0, 0}).status, SEC_E_ILLEGAL_MESSAGE);
        EXPECT_EQ(forged.open(23, bytesOf("more")).status, SEC_I_CONTEXT_EXPIRED);
    }
}

TEST_F(ForgedRecords, fatalAlertGivesItsStatusAndEndsTheStream) {
    struct AlertStatus {
        unsigned char alert;
        SECURITY_STATUS status;
    };
    const AlertStatus table[] = {
        {unexpectedMessage, SEC_E_ILLEGAL_MESSAGE}, {badRecordMac, SEC_E_MESSAGE_ALTERED},
        {badCertificate, SEC_E_CERT_UNKNOWN},       {certificateExpired, SEC_E_CERT_EXPIRED},
        {unknownAuthority, SEC_E_UNTRUSTED_ROOT},   {accessDenied, SEC_E_LOGON_DENIED},
        {decryptError, SEC_E_DECRYPT_FAILURE},      {internalError, SEC_E_INTERNAL_ERROR}};
    constexpr unsigned char fatal = 2;
    for (const AlertStatus& expected : table) {
        Forgery forged;
        EXPECT_EQ(forged.open(21, {fatal, expected.alert}).status, expected.status);
        EXPECT_EQ(forged.open(23, bytesOf("more")).status, SEC_I_CONTEXT_EXPIRED);
    }
}

} // namespace
} // namespace VexaSsl::test
