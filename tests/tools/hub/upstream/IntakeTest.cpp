// SPDX-License-Identifier: MIT
#include "tools/hub/upstream/Intake.h"

#include "stream/DataDatagram.h"

#include <gtest/gtest.h>

#include <array>
#include <set>

namespace feedline::hub {
namespace {

const client::ReceiverKind& hf = client::receiverKind("AirSpyHF+");
const client::ReceiverKind& airspy = client::receiverKind("AirSpy");

class IntakeTest : public testing::Test {
protected:
    // The stream goes on for so long, from where it was.
    void receive(double seconds, double pairsPerSecond) {
        const double end = time + seconds;
        for (; time < end; time += datagram::pairs / pairsPerSecond) {
            intake.samples(position++, static_cast<std::int64_t>(1e18 + time * 1e9), samples);
            rates.insert(intake.measuredRate());
        }
    }

    Band band;
    Intake intake{band};
    std::set<double> rates; ///< all that it has said
    std::array<std::int16_t, datagram::entries> samples{};
    std::int64_t position = 0;
    double time = 0;
};

TEST_F(IntakeTest, KnowsTheRateOfARunAfterHalfASecond) {
    intake.expectRun(hf);
    receive(0.45, 192e3);
    EXPECT_EQ(intake.measuredRate(), 0);
    receive(0.15, 192e3);
    EXPECT_EQ(intake.measuredRate(), 192e3);
}

// As from a machine that was busy, and catches up.
TEST_F(IntakeTest, TakesNoneOfTheRatesThatAFallingPaceCrosses) {
    intake.expectRun(airspy);
    for (int faster = 40; faster > 0; --faster)
        receive(0.05, 2.5e6 + 0.02e6 * faster);
    receive(1, 2.5e6);
    EXPECT_EQ(rates, (std::set<double>{0, 2.5e6}));
}

TEST_F(IntakeTest, PutsARateRightThatWasTakenForAnother) {
    intake.expectRun(airspy);
    receive(0.8, 3e6);
    EXPECT_EQ(intake.measuredRate(), 3e6);
    receive(1, 2.5e6);
    EXPECT_EQ(intake.measuredRate(), 2.5e6);
}

TEST_F(IntakeTest, MeasuresTheNextRunAfresh) {
    intake.expectRun(hf);
    receive(0.8, 768e3);
    intake.expectRun(hf);
    EXPECT_EQ(intake.measuredRate(), 0);
    receive(0.8, 384e3);
    EXPECT_EQ(intake.measuredRate(), 384e3);
}

TEST_F(IntakeTest, CountsWhatCameAndWhatIsMissing) {
    intake.expectRun(hf);
    EXPECT_EQ(intake.lastArrival(), Clock::time_point{});
    intake.samples(0, 1, samples);
    intake.gap(1, 4);
    intake.samples(4, 2, samples);
    EXPECT_EQ(intake.pairs(), 2U * datagram::pairs);
    EXPECT_EQ(intake.lostPairs(), 3U * datagram::pairs);
    EXPECT_GT(intake.lastArrival(), Clock::time_point{});
}

} // namespace
} // namespace feedline::hub
