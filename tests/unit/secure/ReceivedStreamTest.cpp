// The record's received bytes in random orders of reads and deliveries, compared with a model that
// copies every byte.
#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <utility>

namespace VexaSsl {
namespace {

using test::ToyCipher;

SECURITY_STATUS statusOf(char kind) {
    switch (static_cast<ToyCipher::Kind>(kind)) {
    case ToyCipher::Kind::Data:
        return SEC_E_OK;
    case ToyCipher::Kind::Closure:
        return SEC_I_CONTEXT_EXPIRED;
    default:
        return SEC_E_MESSAGE_ALTERED;
    }
}

// What the record must hold and answer.
struct Model {
    std::string cipher;
    std::string plain;
    bool incomplete = false;

    void append(const std::string& bytes) {
        cipher += bytes;
        incomplete = false;
    }

    SECURITY_STATUS decrypt(std::size_t wanted, std::size_t& gained) {
        gained = 0;
        while (gained < wanted && !cipher.empty() && !incomplete) {
            const std::size_t size = recordSize();
            if (cipher.size() < size) {
                incomplete = true;
                return SEC_E_INCOMPLETE_MESSAGE;
            }
            const SECURITY_STATUS status = statusOf(cipher[0]);
            if (status != SEC_E_OK) {
                cipher.clear();
                return status;
            }
            const std::string opened = ToyCipher().open(cipher.substr(0, size));
            plain += opened;
            gained += opened.size();
            cipher.erase(0, size);
        }
        return SEC_E_OK;
    }

    SECURITY_STATUS read(std::size_t length, bool peek, std::string& delivered) {
        delivered.clear();
        SECURITY_STATUS status = SEC_E_OK;
        if (length > plain.size()) {
            std::size_t gained = 0;
            status = decrypt(length - plain.size(), gained);
        }
        if (status == SEC_E_OK || status == SEC_E_INCOMPLETE_MESSAGE) {
            delivered = plain.substr(0, length);
            plain.erase(0, peek ? 0 : delivered.size());
        }
        return status;
    }

private:
    std::size_t recordSize() const {
        const auto byteAt = [this](std::size_t i) { return static_cast<unsigned char>(cipher[i]); };
        return cipher.size() < 4 ? 4 : 4U + byteAt(1) + byteAt(2) * 256U + byteAt(3);
    }
};

class ReceivedStream : public testing::Test {
protected:
    ReceivedStream() { stage.makeConnected(); }

    std::size_t below(std::size_t limit) { return engine() % limit; }

    // Takes the next bytes of a stream of records, most of them data.
    std::string nextPiece() {
        if (stream.size() < 300) {
            const std::size_t kind = below(40);
            stream += stage.cipher.seal(std::string(below(4) * below(34), letter()),
                                        kind == 0   ? ToyCipher::Kind::Closure
                                        : kind == 1 ? ToyCipher::Kind::Altered
                                                    : ToyCipher::Kind::Data);
        }
        std::string piece =
            stream.substr(0, 1 + below(stage.strategy->record->receiveBuffer.size()));
        stream.erase(0, piece.size());
        return piece;
    }

    void arrive() {
        SecureSocketRecord& record = *stage.strategy->record;
        const std::string piece = nextPiece();
        const auto size = static_cast<DWORD>(piece.size());
        switch (below(4)) {
        case 0:
            record.appendCipher(piece.data(), size);
            break;
        case 1: {
            WipedBytes memory(piece.size() + below(50));
            std::copy(piece.begin(), piece.end(), memory.begin());
            record.appendCipher(std::move(memory), size);
            break;
        }
        default:
            std::copy(piece.begin(), piece.end(), record.prepareRead());
            record.takeRead(size);
        }
        model.append(piece);
    }

    void deliver() {
        std::string buffer(below(150), '#');
        const bool peek = below(4) == 0;
        std::string expected;
        DWORD delivered = 4711;
        const SECURITY_STATUS status = model.read(buffer.size(), peek, expected);
        EXPECT_EQ(stage.strategy->record->readPlain(
                      buffer.data(), static_cast<DWORD>(buffer.size()), peek, delivered),
                  status);
        EXPECT_EQ(buffer.substr(0, delivered), expected);
        startOverAfter(status);
    }

    void decryptOne() {
        std::size_t expected = 0;
        DWORD gained = 4711;
        const SECURITY_STATUS status = model.decrypt(1, expected);
        EXPECT_EQ(stage.strategy->record->decryptAvailable(1, gained), status);
        EXPECT_EQ(gained, expected);
        startOverAfter(status);
    }

    void expectSame() {
        EXPECT_EQ(stage.heldPlain(), model.plain);
        EXPECT_EQ(stage.heldCipher(), model.cipher);
        EXPECT_EQ(stage.strategy->record->incompleteRecord, model.incomplete);
    }

    test::SecureStage<> stage;
    Model model;

private:
    char letter() { return static_cast<char>('a' + below(26)); }

    // A failure has dropped the start of a record.
    void startOverAfter(SECURITY_STATUS status) {
        if (status != SEC_E_OK && status != SEC_E_INCOMPLETE_MESSAGE) {
            stream.clear();
        }
    }

    std::mt19937 engine;
    std::string stream;
};

TEST_F(ReceivedStream, anyOrderOfReadsAndDeliveriesHoldsTheSameBytesAsCopying) {
    for (int step = 0; step < 20'000 && !HasFailure(); ++step) {
        switch (below(5)) {
        case 0:
        case 1:
            arrive();
            break;
        case 2:
            decryptOne();
            break;
        case 3:
            stage.strategy->record->prepareRead(); // for a read that fails
            break;
        default:
            deliver();
        }
        expectSame();
    }
}

} // namespace
} // namespace VexaSsl
