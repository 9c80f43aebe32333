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
    Step at(Clock::duration time) { return watch_.look(begin_ + time, heard_); }
    void hear(Clock::duration time) { heard_ = begin_ + time; }

    const Clock::time_point begin_ = Clock::time_point(seconds(1000));
    Clock::time_point heard_;
    SilenceWatch watch_;
};

TEST_F(SilenceWatchTest, IsContentWhileSamplesComeOrNoneAreWanted) {
    EXPECT_EQ(at(seconds(100)), Step::none);
    watch_.expect(begin_);
    EXPECT_EQ(at(seconds(1)), Step::none);
    hear(seconds(1));
    EXPECT_EQ(at(seconds(2)), Step::none);
    watch_.rest();
    EXPECT_EQ(at(seconds(100)), Step::none);
}

TEST_F(SilenceWatchTest, NoticesWithinTwoSeconds) {
    watch_.expect(begin_);
    hear(seconds(10));
    EXPECT_EQ(at(seconds(11)), Step::none);
    EXPECT_EQ(at(milliseconds(11900)), Step::began);
    EXPECT_TRUE(watch_.silent());
}

TEST_F(SilenceWatchTest, NoticesAStreamThatNeverBegins) {
    watch_.expect(begin_);
    EXPECT_EQ(at(seconds(2)), Step::began);
}

TEST_F(SilenceWatchTest, TriesStopAndRunAndThenTheCommand) {
    watch_.expect(begin_);
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
    watch_.expect(begin_);
    hear(seconds(1));
    EXPECT_EQ(at(seconds(3)), Step::began);
    EXPECT_EQ(at(seconds(3)), Step::stopAndRun);
    hear(milliseconds(3500));
    EXPECT_EQ(at(seconds(4)), Step::ended);
    EXPECT_EQ(watch_.length(), milliseconds(2500));
    EXPECT_FALSE(watch_.silent());
    EXPECT_EQ(at(milliseconds(4500)), Step::none);
    EXPECT_EQ(at(seconds(5)), Step::began) << "and notices the next one";
}

} // namespace
} // namespace feedline::hub
