// SPDX-License-Identifier: MIT
#include "tools/probe/output/JsonLines.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

using namespace feedline::probe;
using Json = nlohmann::json;

namespace {

TEST(JsonLinesTest, OneObjectALine) {
    std::ostringstream out;
    JsonLines view(out);
    StreamFacts facts;
    facts.target = "AirSpy";
    facts.frequency = 100000000;
    Figures figures;
    figures.sampleRate = 2500123;
    figures.reception.counts = {9, 8, 7, 6, 5};
    figures.reception.malformed = 4;
    figures.reception.overflowed = 3;
    figures.levels[0] = {-3, 0.5, 2};
    figures.carrier = Carrier{-1000, -10};
    view.second(facts, figures);
    view.summary(facts, figures);
    std::istringstream lines(out.str());
    std::string line;
    std::getline(lines, line);
    const Json json = Json::parse(line);
    EXPECT_EQ(json["type"], "second");
    EXPECT_EQ(json["target"], "AirSpy");
    EXPECT_EQ(json["sample_rate_hz"], 2500123);
    EXPECT_EQ(json["datagrams"], 9);
    EXPECT_EQ(json["lost"], 8);
    EXPECT_EQ(json["reordered"], 7);
    EXPECT_EQ(json["duplicated"], 6);
    EXPECT_EQ(json["restarts"], 5);
    EXPECT_EQ(json["malformed"], 4);
    EXPECT_EQ(json["buffer_overflowed"], 3);
    EXPECT_EQ(json["i"], (Json{{"level_dbfs", -3}, {"dc", 0.5}, {"clipped", 2}}));
    EXPECT_EQ(json["carrier"]["frequency_hz"], 99999000);
    std::getline(lines, line);
    EXPECT_EQ(Json::parse(line)["type"], "summary");
    EXPECT_FALSE(std::getline(lines, line));
}

TEST(JsonLinesTest, UnknownAndInfiniteAreNull) {
    Figures figures;
    figures.levels[1].dBFS = -INFINITY;
    const Json json = toJson("second", {}, figures);
    EXPECT_TRUE(json["sample_rate_hz"].is_null());
    EXPECT_TRUE(json["frequency_hz"].is_null());
    EXPECT_TRUE(json["q"]["level_dbfs"].is_null());
    EXPECT_TRUE(json["carrier"].is_null());
    EXPECT_EQ(json.count("recording"), 0U);
}

TEST(JsonLinesTest, TellsOfTheRecording) {
    StreamFacts facts;
    facts.recording = "a.wav";
    Figures figures;
    figures.recording = RecordingOutcome{100, 20, 3, "disk full"};
    const Json json = toJson("summary", facts, figures);
    EXPECT_EQ(json["recording"], (Json{{"file", "a.wav"},
                                       {"pairs", 100},
                                       {"lost_pairs", 20},
                                       {"too_slow_pairs", 3},
                                       {"failure", "disk full"}}));
}

} // namespace
