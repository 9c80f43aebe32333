// SPDX-License-Identifier: MIT
#include "emulator/receivers/AirspyReceiver.h"

#include "emulator/signals/Band.h"

#include <gmock/gmock.h>

using namespace feedline::emulator;
using testing::ElementsAre;

namespace {

class AirspyReceiverTest : public testing::Test {
protected:
    int out(std::uint8_t code, std::uint16_t value = 0, std::uint16_t index = 0) {
        return receiver.answer({false, code, value, index, nullptr, 0});
    }

    std::vector<std::uint8_t> in(std::uint8_t code, std::uint16_t length, std::uint16_t index = 0,
                                 std::uint16_t value = 0) {
        std::vector<std::uint8_t> data(length, 0xEE);
        result = receiver.answer({true, code, value, index, data.data(), length});
        return data;
    }

    void set(std::uint8_t code, std::uint16_t value) {
        in(code, 1, value);
        EXPECT_EQ(result, 1);
    }

    std::string state(const std::string& name) const {
        for (const auto& [key, value] : receiver.state())
            if (key == name)
                return value;
        return "none";
    }

    double gain() const { return 20 * std::log10(receiver.settings().gain); }

    void tune(std::uint32_t hertz) {
        std::uint8_t data[4] = {
            static_cast<std::uint8_t>(hertz), static_cast<std::uint8_t>(hertz >> 8),
            static_cast<std::uint8_t>(hertz >> 16), static_cast<std::uint8_t>(hertz >> 24)};
        EXPECT_EQ(receiver.answer({false, 13, 0, 0, data, 4}), 4);
    }

    Band band{parseScene("carrier 100M -10\nnoise -140")};
    AirspyReceiver receiver{0, {10000000, 2500000}, band};
    int result = 0;
};

} // namespace

TEST_F(AirspyReceiverTest, FrequencyIsHertzLowByteFirst) {
    tune(1234567890);
    EXPECT_EQ(state("frequency"), "1234567890");
}

TEST_F(AirspyReceiverTest, RatesAreThoseOfTheIqStreamAndTheRealOneIsTwiceAsFast) {
    EXPECT_THAT(in(25, 4), ElementsAre(2, 0, 0, 0));
    EXPECT_EQ(littleEndian(&in(25, 8, 2)[4]), 2500000U);
    set(12, 1);
    EXPECT_EQ(receiver.settings().view.rate, 5e6);
    set(12, 20000); // kHz of the real stream
    EXPECT_EQ(state("rate"), "10000000");
    in(12, 1, 77);
    EXPECT_EQ(result, stalled);
}

TEST_F(AirspyReceiverTest, EveryGainStageRaisesTheLevel) {
    for (std::uint8_t code : {14, 15, 16}) {
        set(code, 3);
        const double before = gain();
        set(code, 4);
        EXPECT_GT(gain(), before + 1) << int{code};
        EXPECT_LT(gain(), before + 4) << int{code};
    }
}

TEST_F(AirspyReceiverTest, GainsEndAtTheirMost) {
    for (std::uint8_t code : {14, 15, 16})
        set(code, 99);
    EXPECT_EQ(state("lna-gain"), "14");
    EXPECT_EQ(state("mixer-gain"), "15");
    EXPECT_EQ(state("vga-gain"), "15");
}

TEST_F(AirspyReceiverTest, AnAgcAimsAtALevel) {
    tune(100000000);
    set(14, 14);
    set(17, 1);
    set(18, 1);
    const double level = -10 + gain();
    EXPECT_LT(level, -13.9);
    EXPECT_GT(level, -18);
    EXPECT_EQ(state("lna-gain"), "14");
    EXPECT_NE(state("lna-gain-now"), "14");
    tune(900000000);
    EXPECT_EQ(state("lna-gain-now"), "14");
    set(17, 0);
    EXPECT_EQ(state("lna-agc"), "0");
}

TEST_F(AirspyReceiverTest, TheBiasIsAPin) {
    EXPECT_EQ(out(21, 1, 45), 0);
    EXPECT_EQ(state("bias"), "1");
    EXPECT_EQ(in(22, 1, 45)[0], 1);
    EXPECT_EQ(in(22, 1, 44)[0], 0);
}

TEST_F(AirspyReceiverTest, RegistersReadBack) {
    for (const std::pair<std::uint8_t, std::uint8_t> codes :
         {std::pair{2, 3}, std::pair{4, 5}, std::pair{21, 22}, std::pair{23, 24}}) {
        EXPECT_EQ(out(codes.first, 0x5A, 17), 0);
        EXPECT_EQ(in(codes.second, 1, 17)[0], 0x5A);
        EXPECT_EQ(result, 1);
    }
}

TEST_F(AirspyReceiverTest, PackingChangesTheShapeOfTheStream) {
    EXPECT_EQ(receiver.settings().format, Format::samples);
    set(26, 1);
    EXPECT_EQ(receiver.settings().format, Format::packed);
    EXPECT_EQ(state("packing"), "1");
}

TEST_F(AirspyReceiverTest, FlashKeepsWhatIsWritten) {
    std::vector<std::uint8_t> data{1, 2, 3};
    EXPECT_EQ(receiver.answer({false, 7, 2, 0x10, data.data(), 3}), 3);
    EXPECT_THAT(in(8, 3, 0x10, 2), ElementsAre(1, 2, 3));
    EXPECT_EQ(out(27, 2), 0);
    EXPECT_THAT(in(8, 1, 0x10, 2), ElementsAre(0xFF));
    in(8, 16, 0xFFF8, 15);
    EXPECT_EQ(result, stalled);
}

TEST_F(AirspyReceiverTest, IdentifiesItself) {
    const auto words = in(11, 24);
    char text[17] = {};
    std::snprintf(text, sizeof text, "%08X%08X", littleEndian(&words[16]),
                  littleEndian(&words[20]));
    EXPECT_EQ(receiver.identity().serial, std::string("AIRSPY SN:") + text);
    EXPECT_EQ(receiver.identity().serial.size(), 26U);
    EXPECT_THAT(in(9, 1), ElementsAre(0));
    EXPECT_STREQ(reinterpret_cast<const char*>(in(10, 127).data()), "AirSpy EMULATED v1.0.0");
    EXPECT_EQ(out(99), stalled);
}
