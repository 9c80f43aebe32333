// SPDX-License-Identifier: MIT
#include "app/Shared.h"

#include "app/RunTimeState.h"

#include <gtest/gtest.h>

#include <thread>

namespace feedline {
namespace {

TEST(Shared, HoldsItsStartValueAndWhatWasLastStored) {
    Shared<std::int32_t> value{-1};
    EXPECT_EQ(value, -1);
    value = 50000;
    EXPECT_EQ(value.load(), 50000);
}

TEST(Shared, AnExchangeGivesTheOldValueToOneTakerOnly) {
    Shared<std::int32_t> socket{7};
    EXPECT_EQ(socket.exchange(-1), 7);
    EXPECT_EQ(socket.exchange(-1), -1);
}

TEST(Shared, OfTwoThreadsThatTakeOneGetsEachValue) {
    for (int round = 0; round < 200; ++round) {
        Shared<std::int32_t> socket{round};
        std::int32_t first = 0;
        std::int32_t second = 0;
        std::thread other([&] { first = socket.exchange(-1); });
        second = socket.exchange(-1);
        other.join();
        EXPECT_EQ(first + second, round - 1) << "both or neither got " << round;
    }
}

TEST(SharedText, StartsEmpty) {
    const SharedText text;
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.str(), "");
}

TEST(SharedText, Holds255CharactersWhole) {
    SharedText text;
    text.assign(std::string(255, 'a'));
    EXPECT_EQ(text.str(), std::string(255, 'a'));
}

TEST(SharedText, CutsALongerTextTo255Characters) {
    SharedText text;
    text.assign(std::string(255, 'a') + "bcd");
    EXPECT_EQ(text.str(), std::string(255, 'a'));
}

TEST(SharedText, EndsAtTheFirstNul) {
    SharedText text;
    text.assign(std::string("10.0\0.0.1", 9));
    EXPECT_EQ(text.str(), "10.0");
    text.assign(std::string("\0x", 2));
    EXPECT_TRUE(text.empty());
}

TEST(SharedText, AShorterTextReplacesALongerOneWhole) {
    SharedText text;
    text.assign("192.168.100.200");
    text.assign("10.0.0.1");
    EXPECT_EQ(text.str(), "10.0.0.1");
    text.assign("");
    EXPECT_TRUE(text.empty());
}

TEST(SharedText, ClearingEmptiesIt) {
    SharedText text;
    text.assign("10.0.0.1");
    text.clear();
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.str(), "");
}

TEST(SharedText, AReaderThatMeetsAWriterSeesCharactersOfTheTwoTextsOnly) {
    SharedText text;
    const std::string longer(255, 'a');
    const std::string shorter(9, 'b');
    std::thread writer([&] {
        for (int i = 0; i < 2000; ++i)
            text.assign(i % 2 == 0 ? longer : shorter);
        text.clear();
    });
    for (int i = 0; i < 2000; ++i) {
        const std::string seen = text.str();
        EXPECT_LE(seen.size(), 255U);
        EXPECT_EQ(seen.find_first_not_of("ab"), std::string::npos);
    }
    writer.join();
    EXPECT_TRUE(text.empty());
}

TEST(RunTimeState, StartsAsBeforeLaunch) {
    EXPECT_EQ(serverPortNumber, 50000);
    EXPECT_TRUE(udpAddress.empty());
    EXPECT_EQ(deviceType, 0);
    EXPECT_TRUE(serverActive);
    EXPECT_EQ(tcpStatus, -1);
    EXPECT_EQ(listenSocket, -1);
    EXPECT_EQ(clientSocket, -1);
    EXPECT_TRUE(remoteAddress.empty());
    EXPECT_EQ(remoteAddressRaw, 0U);
    EXPECT_EQ(hfDevice, nullptr);
    EXPECT_EQ(airspyDevice, nullptr);
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(centerFrequency, 0);
    EXPECT_EQ(samplesStreamed, 0);
    EXPECT_EQ(sampleRing, nullptr);
    EXPECT_EQ(ringWriteIndex, 0);
    EXPECT_EQ(ringReadIndex, 0);
    EXPECT_EQ(udpSocket, -1);
    EXPECT_EQ(dataSequence, 0);
}

} // namespace
} // namespace feedline
