// SPDX-License-Identifier: MIT
#include "tools/hub/upstream/SilenceWatch.h"

#include <gtest/gtest.h>

namespace feedline::hub {
namespace {

using Step = SilenceWatch::Step;
using std::chrono::milliseconds;
using std::chrono::seconds;

class SilenceWatchTest : public testing::Test {
protected:
    Step at(Clock::duration time) { return watch.look(begin + time, heard); }
    void hear(Clock::duration time) { heard = begin + time; }

    const Clock::time_point begin = Clock::time_point(seconds(1000));
    Clock::time_point heard;
    SilenceWatch watch;
};

TEST_F(SilenceWatchTest, IsContentWhileSamplesComeOrNoneAreWanted) {
    EXPECT_EQ(at(seconds(100)), Step::none);
    watch.expect(begin);
    EXPECT_EQ(at(seconds(1)), Step::none);
    hear(seconds(1));
    EXPECT_EQ(at(seconds(2)), Step::none);
    watch.rest();
    EXPECT_EQ(at(seconds(100)), Step::none);
}

TEST_F(SilenceWatchTest, NoticesWithinTwoSeconds) {
    watch.expect(begin);
    hear(seconds(10));
    EXPECT_EQ(at(seconds(11)), Step::none);
    EXPECT_EQ(at(milliseconds(11900)), Step::began);
    EXPECT_TRUE(watch.silent());
}

TEST_F(SilenceWatchTest, NoticesAStreamThatNeverBegins) {
    watch.expect(begin);
    EXPECT_EQ(at(seconds(2)), Step::began);
}

TEST_F(SilenceWatchTest, TriesStopAndRunAndThenTheCommand) {
    watch.expect(begin);
    EXPECT_EQ(at(seconds(2)), Step::began);
    EXPECT_EQ(at(seconds(2)), Step::stopAndRun);
    EXPECT_EQ(at(seconds(3)), Step::none);
    EXPECT_EQ(at(seconds(4)), Step::command);
    EXPECT_EQ(at(seconds(13)), Step::none);
    EXPECT_EQ(at(seconds(14)), Step::stopAndRun);
    EXPECT_EQ(at(seconds(16)), Step::command);
    EXPECT_EQ(at(seconds(35)), Step::none) << "the pauses grow";
    EXPECT_EQ(at(seconds(36)), Step::stopAndRun);
}

TEST_F(SilenceWatchTest, MeasuresTheSilence) {
    watch.expect(begin);
    hear(seconds(1));
    EXPECT_EQ(at(seconds(3)), Step::began);
    EXPECT_EQ(at(seconds(3)), Step::stopAndRun);
    hear(milliseconds(3500));
    EXPECT_EQ(at(seconds(4)), Step::ended);
    EXPECT_EQ(watch.length(), milliseconds(2500));
    EXPECT_FALSE(watch.silent());
    EXPECT_EQ(at(milliseconds(4500)), Step::none);
    EXPECT_EQ(at(seconds(5)), Step::began) << "and notices the next one";
}

} // namespace
} // namespace feedline::hub
