// SPDX-License-Identifier: MIT
#include "tools/probe/recording/Recorder.h"

#include "Datagrams.h"
#include "FileSizeLimit.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <cstring>

using namespace feedline::probe;
using feedline::test::batchOf;
using feedline::test::FileSizeLimit;
using feedline::test::TemporaryFolder;
using Json = nlohmann::json;

namespace {

class RecorderTest : public testing::Test {
protected:
    std::unique_ptr<Recorder>
    make(const char* name, std::optional<double> rate = 768000,
         std::size_t queueLimit = feedline::client::BatchQueue::usualLimit) {
        return std::make_unique<Recorder>(
            folder.file(name), false, rate, [this] { ++failures; }, queueLimit);
    }
    static RecordingOutcome finish(Recorder& recorder) {
        recorder.queue().close();
        return recorder.finish();
    }
    // The value that all samples of each recorded datagram have.
    std::vector<int> recorded() const {
        const std::string bytes = folder.content("a.sigmf-data");
        std::vector<int> values;
        for (std::size_t at = 0; at + feedline::datagram::sampleBytes <= bytes.size();
             at += feedline::datagram::sampleBytes)
            values.push_back(static_cast<std::uint8_t>(bytes[at]) |
                             (static_cast<std::uint8_t>(bytes[at + 1]) << 8));
        return values;
    }
    Json annotations() const { return Json::parse(folder.content("a.sigmf-meta"))["annotations"]; }

    TemporaryFolder folder;
    std::atomic<int> failures = 0;
};

TEST_F(RecorderTest, GapsAreZerosAndRemarkedOn) {
    const auto recorder = make("a.sigmf");
    recorder->start("AirSpy", 100000000);
    recorder->queue().push(batchOf({1, 2, 5}));
    recorder->queue().push(batchOf({7, 6}));
    const auto outcome = finish(*recorder);
    EXPECT_EQ(recorded(), (std::vector<int>{1, 2, 0, 0, 5, 6, 7}));
    EXPECT_EQ(outcome.pairs, 7U * 256);
    EXPECT_EQ(outcome.lostPairs, 2U * 256);
    EXPECT_EQ(outcome.slowPairs, 0U);
    EXPECT_FALSE(outcome.failure);
    ASSERT_EQ(annotations().size(), 1U);
    EXPECT_EQ(annotations()[0]["core:sample_start"], 2 * 256);
    EXPECT_EQ(annotations()[0]["core:sample_count"], 2 * 256);
    EXPECT_EQ(annotations()[0]["core:label"], "datagrams lost");
}

// The queue is filled before the worker runs, which is what a disk that stalls looks like.
TEST_F(RecorderTest, SaysWhatTheDiskWasTooSlowFor) {
    const auto recorder = make("a.sigmf", 768000, 4);
    recorder->queue().push(batchOf({1, 2, 3}));
    recorder->queue().push(batchOf({4, 5}));
    recorder->queue().push(batchOf({6}));
    recorder->start("AirSpy", {});
    const auto outcome = finish(*recorder);
    EXPECT_EQ(recorded(), (std::vector<int>{1, 2, 3, 0, 0, 6}));
    EXPECT_EQ(outcome.slowPairs, 2U * 256);
    EXPECT_EQ(outcome.lostPairs, 0U);
    EXPECT_EQ(annotations()[0]["core:label"], "not recorded: disk too slow");
}

TEST_F(RecorderTest, MeasuresTheRateWhenItIsNotGiven) {
    const auto recorder = make("a.sigmf", std::nullopt);
    recorder->start("AirSpyHF+", {});
    for (std::int64_t position = 1; position < 8000; ++position)
        recorder->queue().push(batchOf({position}));
    EXPECT_EQ(finish(*recorder).pairs, 7999U * 256);
    const Json meta = Json::parse(folder.content("a.sigmf-meta"));
    EXPECT_EQ(meta["global"]["core:sample_rate"], 768000);
    EXPECT_EQ(meta["captures"][0]["core:datetime"], "2025-11-21T10:00:00.250333Z");
    EXPECT_EQ(meta["captures"][0].count("core:frequency"), 0U);
}

TEST_F(RecorderTest, AStreamTooShortForAMeasurementIsRecordedAllTheSame) {
    const auto recorder = make("a.sigmf", std::nullopt);
    recorder->start("AirSpyHF+", {});
    recorder->queue().push(batchOf({1, 2, 3, 4, 5}));
    EXPECT_EQ(finish(*recorder).pairs, 5U * 256);
    EXPECT_EQ(recorded(), (std::vector<int>{1, 2, 3, 4, 5}));
}

TEST_F(RecorderTest, NothingReceivedLeavesNoFile) {
    for (const char* name : {"a.sigmf", "a.wav"}) {
        const auto recorder = make(name);
        recorder->start("AirSpyHF+", {});
        EXPECT_EQ(finish(*recorder).pairs, 0U);
    }
    EXPECT_TRUE(folder.empty());
}

TEST_F(RecorderTest, NeverStartedLeavesNoFile) {
    make("a.sigmf");
    make("a.wav");
    EXPECT_TRUE(folder.empty());
}

TEST_F(RecorderTest, FullDiskEndsTheRecordingOnceAndClearly) {
    const auto recorder = make("a.sigmf");
    RecordingOutcome outcome;
    {
        const FileSizeLimit limit(10 * 1024 + 3);
        recorder->start("AirSpyHF+", {});
        for (std::int64_t position = 1; position < 100; ++position)
            recorder->queue().push(batchOf({position}));
        outcome = finish(*recorder);
    }
    ASSERT_TRUE(outcome.failure);
    EXPECT_NE(outcome.failure->find("a.sigmf-data': File too large"), std::string::npos);
    EXPECT_EQ(outcome.pairs, 10U * 256);
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(folder.size("a.sigmf-data"), 10U * 1024);
    EXPECT_EQ(annotations().size(), 0U);
}

} // namespace
