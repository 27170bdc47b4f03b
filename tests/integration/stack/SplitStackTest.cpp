// TLS over a strategy that splits data at given bytes, so that every boundary inside a record is
// tested exactly.
#include "integration/stack/SplittingStrategy.h"
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pattern.h"
#include "integration/support/Pki.h"
#include "secure/SecureSocketStrategy.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>

namespace VexaSsl::test {
namespace {

StackMaker split(const Splitting& splitting, Passage* passage = nullptr) {
    return [=](ILog& log, const IConfig& config) -> std::unique_ptr<ISocketStrategy> {
        return std::make_unique<SecureSocketStrategy>(
            log, config,
            std::make_unique<SplittingStrategy>(std::make_unique<UnsecureSocketStrategy>(log),
                                                splitting, passage));
    };
}

ConnectedPair meetSplit(const Splitting& splitting, Passage* client = nullptr,
                        Passage* server = nullptr) {
    return connectPair({.client = Settings::encrypted(),
                        .server = Settings::serverSending(pki::localhost),
                        .clientStack = split(splitting, client),
                        .serverStack = split(splitting, server)});
}

// Three records in each direction, one with a single byte.
void converse(ConnectedPair& pair, std::size_t position) {
    ASSERT_TRUE(pair.established()) << "at " << position;
    for (const std::string text : {"first record", "2", "and a third one"}) {
        ASSERT_TRUE(pair.client.sendAll(text)) << "at " << position;
        ASSERT_TRUE(pair.server.sendAll(text)) << "at " << position;
    }
    EXPECT_EQ(pair.server.receiveAll(28), "first record2and a third one") << "at " << position;
    EXPECT_EQ(pair.client.receiveAll(28), "first record2and a third one") << "at " << position;
}

constexpr std::size_t step = VEXASSL_BYTE_STEP;

// The bytes that each side receives in a handshake.
struct HandshakeSizes {
    std::size_t toClient;
    std::size_t toServer;
};

HandshakeSizes measure() {
    Passage client;
    Passage server;
    EXPECT_TRUE(meetSplit({}, &client, &server).established());
    return {client.read, server.read};
}

TEST(SplitStack, readThatEndsAtAnyByteOfTheStreamChangesNothing) {
    VEXASSL_NEEDS_ABILITY(Ability::keepFlights);
    Passage client;
    Passage server;
    {
        ConnectedPair whole = meetSplit({}, &client, &server);
        converse(whole, 0);
    }
    const std::size_t longest = std::max(client.read, server.read);
    ASSERT_GT(longest, 1000U);
    for (std::size_t k = 1; k < longest && !::testing::Test::HasFailure(); k += step) {
        ConnectedPair pair = meetSplit({.readCut = k});
        converse(pair, k);
    }
}

TEST(SplitStack, readThatEndsInsideTheDataChangesNothing) {
    const std::size_t handshake = measure().toServer;
    constexpr std::size_t threeRecords = 3 * (5 + 24) + 28;
    for (std::size_t k = 1; k < threeRecords && !::testing::Test::HasFailure(); ++k) {
        ConnectedPair pair = connectPair({.client = Settings::encrypted(),
                                          .server = Settings::serverSending(pki::localhost),
                                          .serverStack = split({.readCut = handshake + k})});
        converse(pair, k);
    }
}

TEST(SplitStack, singleBytesInBothDirectionsChangeNothing) {
    ConnectedPair pair = meetSplit({.mostPerRead = 1, .mostPerWrite = 1});
    converse(pair, 1);
}

TEST(SplitStack, fewBytesAtATimeChangeNothing) {
    VEXASSL_NEEDS_ABILITY(Ability::keepFlights);
    for (const int size : {2, 3, 4, 5, 6, 7, 8, 11, 13, 29, 100, 1000}) {
        ConnectedPair pair = meetSplit({.mostPerRead = size, .mostPerWrite = size});
        converse(pair, static_cast<std::size_t>(size));
    }
}

TEST(SplitStack, handshakeInSingleBytesHasOneIterationForEachByte) {
    Passage client;
    ConnectedPair pair = meetSplit({.mostPerRead = 1}, &client);
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(pair.client.log->linesWith(L"received [1] byte message").size(), client.read);
    EXPECT_EQ(
        pair.client.log->linesWith(L"InitializeSecurityContext succeeded with: -2146893032 (")
                .size() +
            pair.client.log->linesWith(L"InitializeSecurityContext succeeded with: 590610").size() +
            1,
        client.read + 1);
}

TEST(SplitStack, largeRecordsSurviveSmallReads) {
    ConnectedPair pair =
        connectPair({.client = Settings::encrypted(),
                     .server = Settings::serverSending(pki::localhost),
                     .clientStack = split({.mostPerWrite = 4099}),
                     .serverStack = split({.mostPerRead = 997, .quietFor = measure().toServer})});
    ASSERT_TRUE(pair.established());
    const std::string text(Pattern{}.at(0, 300000));
    std::jthread sending([&] { pair.client.sendAll(text); });
    EXPECT_EQ(pair.server.receiveAll(text.size()), text);
    sending.join();
}

TEST(SplitStack, singleBytesAreLoggedWithARisingCount) {
    ConnectedPair pair = meetSplit({.mostPerRead = 1});
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("x"));
    pair.server.log->clear();
    EXPECT_EQ(pair.server.receiveAll(1), "x");
    const auto lines = pair.server.log->linesWith(L"Haven't received enough data to decrypt");
    ASSERT_GT(lines.size(), 20U); // for every byte of the record but the last
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].text,
                  L"Haven't received enough data to decrypt. So far, have received [" +
                      std::to_wstring(i + 1) + L"]");
    }
}

TEST(SplitStack, overlappedReceivesThatEndInsideRecordsLoseNothing) {
    ConnectedPair pair =
        connectPair({.client = Settings::encrypted(),
                     .server = Settings::serverSending(pki::localhost),
                     .serverStack = split({.mostPerRead = 7, .quietFor = measure().toServer})});
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    const std::string text = "a record that needs many completions";
    ASSERT_TRUE(pair.client.sendAll(text));
    std::string heard;
    while (heard.size() < text.size()) {
        std::string bytes(10, '\0');
        WSABUF buffer{10, bytes.data()};
        Overlapped overlapped;
        DWORD count = 0;
        DWORD flags = 0;
        server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags, overlapped.get(),
                              nullptr);
        ASSERT_TRUE(overlapped.wait(server.socket.handle(), count));
        ASSERT_GT(count, 0U);
        ASSERT_EQ(server.stack->completeWSARecv(0, &count, nullptr), 0);
        heard += bytes.substr(0, count);
        if (count > 0) { // the rest is held, no more bytes will arrive
            heard += server.receiveAll(text.size() - heard.size());
        }
    }
    EXPECT_EQ(heard, text);
}

} // namespace
} // namespace VexaSsl::test
