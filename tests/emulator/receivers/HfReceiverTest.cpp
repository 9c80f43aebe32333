// SPDX-License-Identifier: MIT
#include "emulator/receivers/HfReceiver.h"

#include "emulator/signals/Band.h"

#include <gmock/gmock.h>

using namespace feedline::emulator;
using testing::ElementsAre;

namespace {

class HfReceiverTest : public testing::Test {
protected:
    int out(std::uint8_t code, std::uint16_t value = 0, std::uint16_t index = 0) {
        return receiver.answer({false, code, value, index, nullptr, 0});
    }

    std::vector<std::uint8_t> in(std::uint8_t code, std::uint16_t length, std::uint16_t index = 0) {
        std::vector<std::uint8_t> data(length, 0xEE);
        result = receiver.answer({true, code, 0, index, data.data(), length});
        return data;
    }

    std::string state(const std::string& name) const {
        for (const auto& [key, value] : receiver.state())
            if (key == name)
                return value;
        return "none";
    }

    void tune(std::uint32_t kilohertz) {
        std::uint8_t data[4] = {
            static_cast<std::uint8_t>(kilohertz >> 24), static_cast<std::uint8_t>(kilohertz >> 16),
            static_cast<std::uint8_t>(kilohertz >> 8), static_cast<std::uint8_t>(kilohertz)};
        EXPECT_EQ(receiver.answer({false, 2, 0, 0, data, 4}), 4);
    }

    Band band{parseScene("carrier 7.1M -3\nnoise -140")};
    HfReceiver receiver{0, {{768000, false}, {192000, true}}, band};
    int result = 0;
};

} // namespace

TEST_F(HfReceiverTest, FrequencyIsKilohertzHighByteFirst) {
    tune(7105);
    EXPECT_EQ(state("frequency"), "7105000");
    EXPECT_EQ(receiver.settings().view.centre, 7105000);
}

TEST_F(HfReceiverTest, RatesAreACountAndAList) {
    EXPECT_THAT(in(3, 4), ElementsAre(2, 0, 0, 0));
    EXPECT_EQ(result, 4);
    EXPECT_THAT(in(3, 8, 2), ElementsAre(0x00, 0xB8, 0x0B, 0x00, 0x00, 0xEE, 0x02, 0x00));
    EXPECT_EQ(out(4, 0, 1), 0);
    EXPECT_EQ(state("rate"), "192000");
    EXPECT_EQ(out(4, 0, 2), stalled);
}

TEST_F(HfReceiverTest, ArchitecturesAreOneByteARateThoughFourAreAskedFor) {
    EXPECT_THAT(in(14, 8, 2), ElementsAre(0, 1, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE));
    EXPECT_EQ(result, 2);
}

TEST_F(HfReceiverTest, ConfigurationIsKeptInFlash) {
    std::vector<std::uint8_t> page(256, 7);
    EXPECT_EQ(receiver.answer({false, 6, 0, 0, page.data(), 256}), 256);
    receiver.powerUp();
    EXPECT_EQ(in(5, 256), page);
}

TEST_F(HfReceiverTest, SerialIsThatOfTheString) {
    const auto words = in(7, 20);
    EXPECT_EQ(result, 20);
    char text[17] = {};
    std::snprintf(text, sizeof text, "%08X%08X", littleEndian(&words[4]), littleEndian(&words[8]));
    EXPECT_EQ(receiver.identity().serial, std::string("AIRSPYHF SN:") + text);
    EXPECT_EQ(receiver.identity().serial.size(), 28U);
}

TEST_F(HfReceiverTest, OutputsAreFour) {
    EXPECT_EQ(out(8, 2, 1), 0);
    EXPECT_EQ(state("outputs"), "0010");
    EXPECT_EQ(out(8, 4, 1), stalled);
}

TEST_F(HfReceiverTest, TheAttenuatorWorksInStepsOfSixDecibelOnceTheAgcIsOff) {
    out(10, 0);
    const double before = receiver.settings().gain;
    out(12, 2);
    EXPECT_NEAR(20 * std::log10(receiver.settings().gain / before), -12, 0.01);
    out(12, 99);
    EXPECT_EQ(state("attenuator"), "8");
}

TEST_F(HfReceiverTest, TheAgcMakesRoomForAStrongBand) {
    tune(7100);
    EXPECT_EQ(state("agc"), "1");
    EXPECT_EQ(state("attenuation"), "12"); // -3 dBFS to below a quarter
    out(11, 1);
    EXPECT_EQ(state("attenuation"), "6"); // to below a half
    tune(20000);
    EXPECT_EQ(state("attenuation"), "0");
}

TEST_F(HfReceiverTest, VersionIsTextWithItsEnd) {
    const auto text = in(9, 63);
    EXPECT_STREQ(reinterpret_cast<const char*>(text.data()), "R1.0.0-EMULATED");
    EXPECT_EQ(result, 16);
}

TEST_F(HfReceiverTest, ReceiverModeAndUnknownRequests) {
    EXPECT_EQ(out(1, 1), 0);
    EXPECT_TRUE(receiver.streaming());
    EXPECT_EQ(out(99), stalled);
    in(99, 4);
    EXPECT_EQ(result, stalled);
    receiver.powerUp();
    EXPECT_FALSE(receiver.streaming());
}
