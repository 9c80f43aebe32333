// SPDX-License-Identifier: MIT
#include "tools/hub/web/codec/Opus.h"

#include "Signals.h"

#include <gtest/gtest.h>

#include <opus.h>
#include <stdexcept>

using namespace feedline::hub::web;
using namespace feedline::test;

namespace {

class OpusRateTest : public testing::TestWithParam<int> {};

// Decoded by the codec's own library.
TEST_P(OpusRateTest, AToneComesBack) {
    const int rate = GetParam();
    OpusSound encoder(rate);
    ASSERT_EQ(encoder.packetSamples(), static_cast<std::size_t>(rate / 50));
    int error = 0;
    OpusDecoder* const decoder = opus_decoder_create(rate, 1, &error);
    ASSERT_EQ(error, OPUS_OK);
    std::vector<float> in(encoder.packetSamples());
    std::vector<float> out;
    std::size_t bytes = 0;
    for (std::size_t packet = 0; packet < 50; ++packet) {
        for (std::size_t at = 0; at < in.size(); ++at)
            in[at] = turn(1000.0 * static_cast<double>(packet * in.size() + at) / rate, 0.5).real();
        std::vector<std::uint8_t> encoded;
        encoder.encode(in, encoded);
        bytes += encoded.size();
        out.resize(out.size() + in.size());
        ASSERT_EQ(opus_decode_float(decoder, encoded.data(), static_cast<int>(encoded.size()),
                                    out.data() + packet * in.size(), static_cast<int>(in.size()),
                                    0),
                  static_cast<int>(in.size()));
    }
    opus_decoder_destroy(decoder);
    EXPECT_NEAR(toneLevel(out, 1000, rate), -6, 0.5);
    EXPECT_LE(8 * bytes, 40000U);
}

INSTANTIATE_TEST_SUITE_P(Rates, OpusRateTest, testing::Values(12000, 48000));

TEST(OpusTest, ARateThatTheCodecDoesNotKnowIsRefused) {
    EXPECT_THROW(OpusSound(11025), std::runtime_error);
}

} // namespace
