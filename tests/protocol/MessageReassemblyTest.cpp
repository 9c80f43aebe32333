// SPDX-License-Identifier: MIT
// What the reassembly hands on shows in the replies and the log lines of the messages.
#include "Bytes.h"
#include "MemoryServer.h"
#include "RecordingLog.h"
#include "ReplyPeer.h"
#include "ScriptedVendors.h"
#include "app/AppDelegate.h"
#include "app/RunTimeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace feedline {
namespace {

using test::Bytes;
using test::logged;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const auto nak = logged("NAK");
const Bytes statusRequest{0x04, 0x20, 0x05, 0x00};
const std::string statusReply = "05 00 05 00 0B";

/// A server without connection whose replies and lines can be looked at.
struct Reassembler {
    Reassembler() {
        test::resetVendors();
        deviceType = 2; // No receiver.
    }

    void read(const Bytes& bytes) {
        server.delegate.myDidReadData(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    }

    /// What the messages did since the last call.
    std::vector<std::string> calls() {
        std::vector<std::string> all = peer.take();
        for (const auto& line : test::recordedLines())
            all.push_back(line.text);
        test::clearRecordedLines();
        return all;
    }

    test::Server server;
    test::ReplyPeer peer;
};

void append(Bytes& to, const Bytes& bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes whole;
    for (const Bytes& part : parts)
        append(whole, part);
    return whole;
}

/// A client's session with a bit of everything; short enough to be cut everywhere.
Bytes recordedSession() {
    return joined({{0x04, 0x20, 0x01, 0x00},
                   {0x04, 0x20, 0x02, 0x00},
                   {0x02, 0x00},
                   statusRequest,
                   {0x0A, 0x00, 0x20, 0x00, 0x00, 0x40, 0x42, 0x0F, 0x00, 0x01},
                   {0x09, 0x00, 0xB8, 0x00, 0x00, 0x00, 0x94, 0x11, 0x00},
                   {0x01, 0x20, 0x04}, // Length 1 takes three bytes.
                   {0x02, 0x20},       // Asks for what the buffer still holds.
                   {0x08, 0x00, 0x18, 0x00, 0x80, 0x01, 0x00, 0x00},
                   {0x04, 0x40, 0x05, 0x00},
                   {0x04, 0x21, 0x04, 0x00},
                   {0x04, 0x00, 0x77, 0x66},
                   {0x02, 0x00},
                   {0x04, 0x20, 0x05, 0x00}});
}

std::vector<std::string> callsWithCuts(const Bytes& session, const std::vector<std::size_t>& cuts) {
    Reassembler reassembler;
    auto from = session.begin();
    for (const std::size_t cut : cuts) {
        const auto to = session.begin() + static_cast<std::ptrdiff_t>(cut);
        reassembler.read(Bytes(from, to));
        from = to;
    }
    reassembler.read(Bytes(from, session.end()));
    return reassembler.calls();
}

TEST(MessageReassembly, HeaderOnlyMessageIsCompleteAtOnce) {
    Reassembler reassembler;
    reassembler.read({0x02, 0x00});
    EXPECT_THAT(reassembler.calls(), ElementsAre("NAK"));
    reassembler.read(statusRequest);
    EXPECT_THAT(reassembler.calls(), ElementsAre(statusReply));
}

TEST(MessageReassembly, TwoMessagesInOneChunkAreTwoCallsInTheirOrder) {
    Reassembler reassembler;
    reassembler.read({0x05, 0x00, 0x05, 0x00, 0x0C, 0x02, 0x00});
    EXPECT_THAT(test::recordedLines(),
                ElementsAre(logged("TYPE_TARG_RESP_CITEM ParseAscpMsg 0 5 5"), nak));
}

TEST(MessageReassembly, ByteByByteTheCallsComeAtTheSamePoints) {
    Reassembler reassembler;
    const Bytes bytes{0x05, 0x00, 0x05, 0x00, 0x0C, 0x02, 0x00};
    std::vector<std::size_t> callsAfter;
    for (const std::uint8_t byte : bytes) {
        reassembler.read({byte});
        callsAfter.push_back(test::recordedLines().size());
    }
    EXPECT_THAT(callsAfter, ElementsAre(0, 0, 0, 0, 1, 1, 2));
}

TEST(MessageReassembly, LengthOneTakesThreeBytes) {
    Reassembler reassembler;
    reassembler.read({0x01, 0x00});
    EXPECT_THAT(reassembler.calls(), IsEmpty());
    reassembler.read({0x77});
    EXPECT_THAT(reassembler.calls(), ElementsAre("TYPE_TARG_RESP_CITEM ParseAscpMsg 0 1 77"));
    reassembler.read(statusRequest);
    EXPECT_THAT(reassembler.calls(), ElementsAre(statusReply));
}

TEST(MessageReassembly, LengthZeroTakes8192BytesMoreWhateverTheTypeBits) {
    for (const std::uint8_t second : {0x20, 0x3F}) {
        Reassembler reassembler;
        Bytes message(2 + 8191, 0xEE);
        std::copy_n(Bytes{0x00, second, 0x05, 0x00}.begin(), 4, message.begin());
        reassembler.read(message);
        EXPECT_THAT(reassembler.calls(), IsEmpty());
        reassembler.read({0xEE});
        EXPECT_THAT(reassembler.calls(), ElementsAre(statusReply));
        reassembler.read({0x02, 0x00});
        EXPECT_THAT(reassembler.calls(), ElementsAre("NAK"));
    }
}

TEST(MessageReassembly, LengthZeroAndTypeZeroIsNoNak) {
    Reassembler reassembler;
    reassembler.read(Bytes(2 + 8192, 0x00));
    EXPECT_THAT(reassembler.calls(), ElementsAre("TYPE_TARG_RESP_CITEM ParseAscpMsg 0 0 0"));
}

TEST(MessageReassembly, Length255IsTheLongestThatALengthByteNames) {
    Reassembler reassembler;
    Bytes message(254, 0xEE);
    std::copy_n(Bytes{0xFF, 0x20, 0x05, 0x00}.begin(), 4, message.begin());
    reassembler.read(message);
    EXPECT_THAT(reassembler.calls(), IsEmpty());
    reassembler.read({0xEE});
    EXPECT_THAT(reassembler.calls(), ElementsAre(statusReply));
}

TEST(MessageReassembly, HighLengthBitsTakeNoPartInFraming) {
    Reassembler reassembler;
    reassembler.read({0x04, 0x01, 0x77, 0x66}); // 260 bytes by its header, framed as four.
    EXPECT_THAT(reassembler.calls(), ElementsAre("TYPE_TARG_RESP_CITEM ParseAscpMsg 0 4 6677"));
    Bytes rest; // The other 256 are further messages.
    for (int i = 0; i < 128; ++i)
        append(rest, {0x02, 0x00});
    reassembler.read(rest);
    EXPECT_THAT(reassembler.calls(),
                ::testing::AllOf(::testing::SizeIs(128), ::testing::Each(std::string("NAK"))));
}

TEST(MessageReassembly, CountOfZeroOrLessChangesNothing) {
    Reassembler reassembler;
    const Bytes bytes{0xFF, 0xFF};
    reassembler.server.delegate.myDidReadData(nullptr, 0);
    reassembler.read({0x04, 0x20});
    reassembler.server.delegate.myDidReadData(bytes.data(), 0);
    reassembler.server.delegate.myDidReadData(bytes.data(), -1);
    reassembler.server.delegate.myDidReadData(bytes.data(), INT32_MIN);
    reassembler.read({0x05, 0x00});
    EXPECT_THAT(reassembler.calls(), ElementsAre(statusReply));
}

TEST(MessageReassembly, NothingIsKeptOfTheChunkItself) {
    Reassembler reassembler;
    Bytes chunk{0x04, 0x20, 0x05};
    reassembler.read(chunk);
    std::fill(chunk.begin(), chunk.end(), 0xEE);
    reassembler.read({0x00});
    EXPECT_THAT(reassembler.calls(), ElementsAre(statusReply));
}

TEST(MessageReassembly, FirstMessageMeetsAZeroedBuffer) {
    Reassembler reassembler;
    reassembler.read({0x02, 0x20}); // Item 0: not answered.
    reassembler.read({0x04, 0x00, 0x18, 0x00});
    EXPECT_THAT(reassembler.calls(),
                ElementsAre("08 00 18 00 00 00 00 00", "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 4 18",
                            "set state 0   0   0"));
}

TEST(MessageReassembly, BufferIsNotClearedBetweenMessages) {
    Reassembler reassembler;
    reassembler.read({0x09, 0x60, 0x77, 0x66, 0x01, 0x02, 0x03, 0x04, 0x05});
    reassembler.read({0x05, 0x00, 0xB8, 0x00, 0xAA});
    EXPECT_EQ(reassembler.calls().at(0), "09 00 B8 00 AA 02 03 04 05");
}

TEST(MessageReassembly, EveryTypeIsHandedOn) {
    for (const std::uint8_t type : {0x40, 0x60, 0x80, 0xA0, 0xC0, 0xE0}) {
        Reassembler reassembler;
        reassembler.read(joined({{0x06, type, 0x05, 0x00, 0x02, 0x00}, statusRequest}));
        EXPECT_THAT(reassembler.calls(), ElementsAre(statusReply));
    }
}

TEST(MessageReassembly, SessionCutAtEveryPairOfPlacesGivesTheSameCalls) {
    const Bytes session = recordedSession();
    const std::vector<std::string> whole = callsWithCuts(session, {});
    ASSERT_THAT(whole, ::testing::SizeIs(10 + 9));
    for (std::size_t first = 0; first <= session.size(); ++first)
        for (std::size_t second = first; second <= session.size(); ++second)
            ASSERT_EQ(callsWithCuts(session, {first, second}), whole) << first << ' ' << second;
}

TEST(MessageReassembly, SessionCutAtThousandsOfRandomPlacesGivesTheSameCalls) {
    Bytes largest(2 + 8192, 0x02);
    std::copy_n(Bytes{0x00, 0x20, 0x04, 0x00}.begin(), 4, largest.begin());
    const Bytes session = joined({recordedSession(), largest, recordedSession()});
    const std::vector<std::string> whole = callsWithCuts(session, {});
    ASSERT_THAT(whole, ::testing::SizeIs(2 * (10 + 9) + 1));

    std::mt19937 random(20240229); // NOLINT(cert-msc51-cpp): the same cuts at every run.
    std::uniform_int_distribution<std::size_t> place(0, session.size()), number(1, 60);
    for (int run = 0; run < 2000; ++run) {
        std::vector<std::size_t> cuts(number(random));
        std::generate(cuts.begin(), cuts.end(), [&] { return place(random); });
        std::sort(cuts.begin(), cuts.end());
        ASSERT_EQ(callsWithCuts(session, cuts), whole) << "run " << run;
    }
}

} // namespace
} // namespace feedline
