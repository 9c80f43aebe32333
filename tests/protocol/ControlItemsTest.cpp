// SPDX-License-Identifier: MIT
#include "Bytes.h"
#include "MemoryServer.h"
#include "RecordingLog.h"
#include "ReplyPeer.h"
#include "ScriptedVendors.h"
#include "app/AppDelegate.h"
#include "app/RunTimeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace feedline {
namespace {

using test::Bytes;
using test::Line;
using test::logged;
using test::vendors;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::int32_t noReceiver = 7;

class ControlItems : public ::testing::Test {
protected:
    ControlItems() {
        test::resetVendors();
        hfDevice = test::hfHandle();
        airspyDevice = test::airspyHandle();
    }

    void receive(const Bytes& message) {
        server.delegate.myDidReadData(message.data(), static_cast<std::int32_t>(message.size()));
    }
    std::vector<std::string> replies() { return peer.take(); }

    static std::vector<Line> lines() {
        std::vector<Line> all = test::recordedLines();
        test::clearRecordedLines();
        return all;
    }

    static std::vector<std::string> vendorCalls() { return std::exchange(vendors().calls, {}); }

    test::Server server;
    test::ReplyPeer peer;
};

Line setLine(int length, unsigned item) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 %d %x", length,
                  item);
    return logged(text.data());
}

TEST_F(ControlItems, TargetNameOfAnHfHasNoSpaceAndOneZeroByte) {
    receive({0x04, 0x20, 0x01, 0x00});
    EXPECT_THAT(replies(), ElementsAre("0E 00 01 00 41 69 72 53 70 79 48 46 2B 00"));
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(ControlItems, TargetNameOfAnyOtherReceiverIsTheAirspys) {
    for (const std::int32_t type : {1, 2, -1, INT32_MAX}) {
        deviceType = type;
        receive({0x04, 0x20, 0x01, 0x00});
        EXPECT_THAT(replies(), ElementsAre("0B 00 01 00 41 69 72 53 70 79 00"));
    }
}

TEST_F(ControlItems, SerialNumberIsTheSameForEveryReceiver) {
    for (const std::int32_t type : {0, 1, 2}) {
        deviceType = type;
        receive({0x04, 0x20, 0x02, 0x00});
        EXPECT_THAT(replies(), ElementsAre("0E 00 02 00 31 32 33 34 35 36 37 38 39 00"));
    }
}

TEST_F(ControlItems, Item0004Is123) {
    receive({0x04, 0x20, 0x04, 0x00});
    EXPECT_THAT(replies(), ElementsAre("06 00 04 00 7B 00"));
}

TEST_F(ControlItems, StatusSaysWhetherAStartWasRequested) {
    receive({0x04, 0x20, 0x05, 0x00});
    EXPECT_THAT(replies(), ElementsAre("05 00 05 00 0B"));
    isStreaming = 1;
    receive({0x04, 0x20, 0x05, 0x00});
    EXPECT_THAT(replies(), ElementsAre("05 00 05 00 0C"));
}

TEST_F(ControlItems, StatusShowsTheRequestNotWhatBecameOfIt) {
    vendors().results["airspyhf_start"] = -1;
    receive({0x08, 0x00, 0x18, 0x00, 0x80, 0x02, 0x00, 0x00});
    receive({0x04, 0x20, 0x05, 0x00});
    EXPECT_THAT(replies(), ElementsAre("08 00 18 00 80 02 00 00", "05 00 05 00 0C"));
}

TEST_F(ControlItems, RequestParametersAndLengthBitsAreNotLookedAt) {
    receive({0x07, 0x3F, 0x04, 0x00, 0x01, 0x02, 0x03});
    EXPECT_THAT(replies(), ElementsAre("06 00 04 00 7B 00"));
}

TEST_F(ControlItems, RequestsForAnythingElseAreIgnoredWithoutALine) {
    const std::vector<unsigned> answered{1, 2, 4, 5};
    for (unsigned item = 0; item <= 0xFFFF; ++item) {
        if (std::find(answered.begin(), answered.end(), item) != answered.end())
            continue;
        receive({0x04, 0x20, static_cast<std::uint8_t>(item & 0xFFU),
                 static_cast<std::uint8_t>(item >> 8U)});
    }
    EXPECT_THAT(replies(), IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(vendorCalls(), IsEmpty());
}

TEST_F(ControlItems, SetsOfAnythingElseAreOnlyLogged) {
    for (const unsigned item :
         {0x0000U, 0x0001U, 0x0002U, 0x0003U, 0x0004U, 0x0005U, 0x0006U, 0x0017U, 0x0019U, 0x0021U,
          0x00B7U, 0x00B9U, 0x0118U, 0x2000U, 0xB800U, 0xFFFFU}) {
        receive({0x08, 0x00, static_cast<std::uint8_t>(item & 0xFFU),
                 static_cast<std::uint8_t>(item >> 8U), 0x80, 0x02, 0x00, 0x00});
        EXPECT_THAT(lines(), ElementsAre(setLine(8, item)));
    }
    EXPECT_THAT(replies(), IsEmpty());
    EXPECT_THAT(vendorCalls(), IsEmpty());
}

TEST_F(ControlItems, OtherTypesAreIgnoredForEveryItem) {
    for (const unsigned type : {0x40U, 0x60U, 0x80U, 0xA0U, 0xC0U, 0xE0U})
        for (const unsigned bits : {0x00U, 0x1FU})
            for (const std::uint8_t item :
                 {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x18, 0x20, 0xB8})
                receive({0x0A, static_cast<std::uint8_t>(type | bits), item, 0, 0, 2, 0, 0, 0, 0});
    EXPECT_THAT(replies(), IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(vendorCalls(), IsEmpty());
}

TEST_F(ControlItems, NakIsLoggedAndNotAnswered) {
    receive({0x02, 0x00});
    EXPECT_THAT(lines(), ElementsAre(logged("NAK")));
    EXPECT_THAT(replies(), IsEmpty());
}

TEST_F(ControlItems, NakIsNoSetOfWhatTheBufferStillHolds) {
    receive({0x08, 0x00, 0x18, 0x00, 0x80, 0x01, 0x00, 0x00});
    replies();
    lines();
    receive({0x02, 0x00});
    EXPECT_THAT(lines(), ElementsAre(logged("NAK")));
    EXPECT_THAT(replies(), IsEmpty());
}

TEST_F(ControlItems, HeaderOnlyRequestAsksForTheItemTheBufferStillHolds) {
    struct Case {
        std::uint8_t item;
        std::vector<std::string> replies;
    };
    for (const Case& c : std::vector<Case>{{0x01, {"0E 00 01 00 41 69 72 53 70 79 48 46 2B 00"}},
                                           {0x02, {"0E 00 02 00 31 32 33 34 35 36 37 38 39 00"}},
                                           {0x03, {}},
                                           {0x04, {"06 00 04 00 7B 00"}},
                                           {0x05, {"05 00 05 00 0B"}},
                                           {0x18, {}}}) {
        receive({0x04, 0x40, c.item, 0x00});
        receive({0x02, 0x20});
        EXPECT_EQ(replies(), c.replies) << int{c.item};
    }
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(ControlItems, HeaderOnlySetWithLengthBitsSetsTheItemTheBufferStillHolds) {
    receive({0x04, 0x40, 0x05, 0x00});
    receive({0x02, 0x1F});
    EXPECT_THAT(lines(), ElementsAre(setLine(2, 5)));
}

TEST_F(ControlItems, ShortSetTakesTheBytesTheBufferStillHolds) {
    receive({0x0A, 0x40, 0x00, 0x00, 0x00, 0x40, 0x42, 0x0F, 0x00, 0x01});
    receive({0x05, 0x00, 0x20, 0x00, 0x09});
    EXPECT_THAT(replies(), ElementsAre("0A 00 20 00 09 40 42 0F 00 00"));
    EXPECT_THAT(vendorCalls(), ElementsAre("airspyhf_set_freq 1000000"));
}

TEST_F(ControlItems, StateIsEchoedAndLoggedWithoutItsFourthByte) {
    receive({0x08, 0x00, 0x18, 0x00, 0x80, 0x01, 0xFE, 0xFF});
    EXPECT_THAT(replies(), ElementsAre("08 00 18 00 80 01 FE FF"));
    EXPECT_THAT(lines(), ElementsAre(setLine(8, 0x18), logged("set state 128   1   254")));
    EXPECT_THAT(vendorCalls(), IsEmpty());
}

TEST_F(ControlItems, StateStartsTheReceiverBeforeItsReply) {
    receive({0x08, 0x00, 0x18, 0x00, 0x80, 0x02, 0x00, 0x00});
    EXPECT_THAT(vendorCalls(), ElementsAre("airspyhf_start"));
    EXPECT_THAT(lines(), ElementsAre(setLine(8, 0x18), logged("set state 128   2   0"),
                                     logged("airspyhf_start err 0  ")));
    EXPECT_EQ(isStreaming, 1);
}

TEST_F(ControlItems, StateDependsOnItsSecondByteAndTheStreamAlone) {
    for (const std::int32_t type : {deviceAirspyHf, deviceAirspy}) {
        deviceType = type;
        const std::string start = type == deviceAirspy ? "airspy_start_rx" : "airspyhf_start";
        const std::string stop = type == deviceAirspy ? "airspy_stop_rx" : "airspyhf_stop";
        for (const bool streaming : {false, true})
            for (unsigned p2 = 0; p2 <= 255; ++p2) {
                isStreaming = streaming ? 1 : 0;
                receive({0x08, 0x00, 0x18, 0x00, 0x02, static_cast<std::uint8_t>(p2), 0x02, 0x02});
                std::vector<std::string> expected;
                if (p2 == 2 && !streaming)
                    expected = {start};
                if (p2 != 2 && streaming)
                    expected = {stop};
                EXPECT_EQ(vendorCalls(), expected) << p2 << streaming;
                EXPECT_EQ(isStreaming, p2 == 2 ? 1 : 0);
                EXPECT_EQ(replies(), std::vector{"08 00 18 00 02 " +
                                                 test::hex(Bytes{std::uint8_t(p2)}) + " 02 02"});
            }
    }
}

TEST_F(ControlItems, StateWithoutAReceiverIsEchoed) {
    deviceType = noReceiver;
    receive({0x08, 0x00, 0x18, 0x00, 0x80, 0x02, 0x00, 0x00});
    EXPECT_THAT(replies(), ElementsAre("08 00 18 00 80 02 00 00"));
    EXPECT_THAT(vendorCalls(), IsEmpty());
    EXPECT_EQ(isStreaming, 0);
}

TEST_F(ControlItems, FrequencyIsTheFourBytesAfterTheFirst) {
    receive({0x0A, 0x00, 0x20, 0x00, 0x00, 0x40, 0x42, 0x0F, 0x00, 0x00});
    EXPECT_THAT(replies(), ElementsAre("0A 00 20 00 00 40 42 0F 00 00"));
    EXPECT_THAT(vendorCalls(), ElementsAre("airspyhf_set_freq 1000000"));
    EXPECT_THAT(lines(),
                ElementsAre(setLine(10, 0x20), logged("set frequency 1000000   0 64 66 15 0 0"),
                            logged("airspyhf_set_freq err 0  ")));
    EXPECT_EQ(centerFrequency, 1000000);
}

TEST_F(ControlItems, FrequencysSixthByteIsZeroInLogAndReply) {
    receive({0x0A, 0x00, 0x20, 0x00, 0x07, 0x40, 0x42, 0x0F, 0x00, 0x01});
    EXPECT_THAT(replies(), ElementsAre("0A 00 20 00 07 40 42 0F 00 00"));
    EXPECT_THAT(vendorCalls(), ElementsAre("airspyhf_set_freq 1000000"));
    EXPECT_EQ(lines().at(1), logged("set frequency 1000000   7 64 66 15 0 0"));
}

TEST_F(ControlItems, FrequencyBeyond31BitsReachesTheReceiverWhole) {
    deviceType = deviceAirspy;
    receive({0x0A, 0x00, 0x20, 0x00, 0x01, 0xFF, 0xFE, 0xFD, 0xFC, 0x00});
    EXPECT_THAT(vendorCalls(), ElementsAre("airspy_set_freq 4244504319"));
    EXPECT_EQ(lines().at(1), logged("set frequency 4244504319   1 255 254 253 252 0"));
    EXPECT_EQ(centerFrequency, static_cast<std::int32_t>(4244504319U));
    EXPECT_THAT(replies(), ElementsAre("0A 00 20 00 01 FF FE FD FC 00"));
}

TEST_F(ControlItems, FrequencyThatWasSetShowsNoAlert) {
    receive({0x0A, 0x00, 0x20, 0x00, 0x00, 0x40, 0x42, 0x0F, 0x00, 0x00});
    EXPECT_THAT(server.alert.shown(), IsEmpty());
}

class RefusedFrequency : public ControlItems {
protected:
    RefusedFrequency() {
        vendors().results["airspyhf_set_freq"] = -1;
        vendors().results["airspy_set_freq"] = -1;
    }

    void tune() { receive({0x0A, 0x00, 0x20, 0x00, 0x00, 0x40, 0x42, 0x0F, 0x00, 0x01}); }

    std::vector<std::string> alerts() {
        std::vector<std::string> messages;
        for (const auto& shown : server.alert.shown())
            messages.push_back(shown.message + "|" + shown.information);
        return messages;
    }

    const std::string echoed = "0A 00 20 00 00 40 42 0F 00 00";
};

TEST_F(RefusedFrequency, OfAnHfShowsItsAlertAndIsEchoed) {
    tune();
    EXPECT_THAT(alerts(), ElementsAre("AirSpyHF+ set frequency fail|"));
    EXPECT_THAT(replies(), ElementsAre(echoed));
    EXPECT_EQ(centerFrequency, 1000000);
}

TEST_F(RefusedFrequency, OfAnAirspyShowsItsAlertAndIsEchoed) {
    deviceType = deviceAirspy;
    tune();
    EXPECT_THAT(alerts(), ElementsAre("AirSpy set frequency fail|"));
    EXPECT_THAT(replies(), ElementsAre(echoed));
}

TEST_F(RefusedFrequency, OfNoReceiverShowsNothingAndIsEchoed) {
    deviceType = noReceiver;
    tune();
    EXPECT_THAT(alerts(), IsEmpty());
    EXPECT_THAT(replies(), ElementsAre(echoed));
    EXPECT_THAT(vendorCalls(), IsEmpty());
}

TEST_F(RefusedFrequency, ShowsBothAlertsWhenTheAirspyIsChosenWhileTheFirstIsUp) {
    server.alert.whileUp = [] {
        deviceType = deviceAirspy;
    };
    tune();
    EXPECT_THAT(alerts(),
                ElementsAre("AirSpyHF+ set frequency fail|", "AirSpy set frequency fail|"));
}

TEST_F(RefusedFrequency, ShowsOneAlertWhenTheHfIsChosenWhileTheAirspysIsUp) {
    deviceType = deviceAirspy;
    server.alert.whileUp = [] {
        deviceType = deviceAirspyHf;
    };
    tune();
    EXPECT_THAT(alerts(), ElementsAre("AirSpy set frequency fail|"));
}

TEST_F(RefusedFrequency, IsAnsweredAfterTheAlert) {
    std::vector<std::string> before;
    server.alert.whileUp = [&] {
        before = replies();
    };
    tune();
    EXPECT_THAT(server.alert.shown(), ::testing::SizeIs(1));
    EXPECT_THAT(before, IsEmpty());
    EXPECT_THAT(replies(), ElementsAre(echoed));
}

TEST_F(ControlItems, SampleRateIsLoggedAndEchoedAndChangesNothing) {
    receive({0x09, 0x00, 0xB8, 0x00, 0x03, 0x00, 0xB8, 0x0B, 0x80});
    EXPECT_THAT(replies(), ElementsAre("09 00 B8 00 03 00 B8 0B 80"));
    EXPECT_THAT(lines(),
                ElementsAre(setLine(9, 0xB8), logged("set rate 2148251648   3 0 184 11 128")));
    EXPECT_THAT(vendorCalls(), IsEmpty());
}

TEST_F(ControlItems, RepliesGoToTheClientOfTheMoment) {
    receive({0x04, 0x20, 0x05, 0x00});
    clientSocket = -1;
    receive({0x04, 0x20, 0x05, 0x00});
    EXPECT_THAT(replies(), ElementsAre("05 00 05 00 0B"));
}

} // namespace
} // namespace feedline
