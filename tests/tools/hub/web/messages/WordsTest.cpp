// SPDX-License-Identifier: MIT
#include "tools/hub/web/messages/Words.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace feedline::hub;
using namespace feedline::hub::web;
using Json = nlohmann::json;

namespace {

Overview overviewOf(Tuning tuning) {
    Overview overview;
    overview.tuning = tuning;
    overview.state.connected = overview.state.running = true;
    overview.state.frequency = 7100000;
    overview.state.rate = 768000;
    overview.figures.lostOnNetwork = 5;
    overview.figures.lostInHub = 6;
    for (const std::uint64_t number : {3U, 4U}) {
        ListenerReport listener;
        listener.number = number;
        listener.output = number == 3 ? "native" : "web";
        listener.mayTune = number == 3;
        listener.covered = number == 3;
        listener.lostSlow = 7;
        overview.listeners.push_back(listener);
    }
    return overview;
}

Json state(const Overview& overview, std::uint64_t number) {
    Standing standing;
    standing.number = number;
    standing.dropped = 2;
    standing.why = "because";
    return Json::parse(stateText(overview, standing));
}

TEST(WordsTest, TheLinesAreTheServersOwn) {
    Overview overview = overviewOf(Tuning::first);
    EXPECT_EQ(state(overview, 4).at("lines"), Json({"TCP Server: CONNECTED", "AirSpyHF+ RUNNING",
                                                    "Center Frequency: 7100.000 kHz"}));
    overview.state.running = false;
    overview.state.frequency = 99950500;
    EXPECT_EQ(state(overview, 4).at("lines"),
              Json({"TCP Server: CONNECTED", "AirSpyHF+ IDLE", "Center Frequency: 99950.500 kHz"}));
    overview.state.connected = false;
    EXPECT_EQ(state(overview, 4).at("lines").at(0), "TCP Server: DISCONNECTED");
}

TEST(WordsTest, TheHubsOwnListenerIsNoneOfThePeople) {
    Overview overview = overviewOf(Tuning::first);
    overview.listeners.front().counts = false;
    EXPECT_EQ(state(overview, 4).at("listeners"), 1);
}

TEST(WordsTest, GainsAreToldInTheOrderOfTheWelcome) {
    Overview overview = overviewOf(Tuning::first);
    EXPECT_TRUE(state(overview, 4).at("gains").is_null());
    overview.gains = feedline::gains::Values{1, 0, 14, 3, 12, 0, 21};
    EXPECT_EQ(state(overview, 4).at("gains"), Json({1, 0, 14, 3, 12, 0, 21}));
    const Json gains = Json::parse(welcomeText()).at("gains");
    EXPECT_EQ(gains.size(), 7U);
    EXPECT_EQ(gains.at(2), Json({{"name", "lna"}, {"label", "LNA"}, {"highest", 14}}));
}

TEST(WordsTest, WhoMovesTheReceiverIsSaidInWords) {
    const Overview first = overviewOf(Tuning::first);
    EXPECT_EQ(state(first, 3).at("tuner"), "You came first: you move the receiver.");
    EXPECT_EQ(state(first, 4).at("tuner"),
              "Another listener (native) came first and moves the receiver.");
    EXPECT_EQ(state(overviewOf(Tuning::locked), 3).at("tuner"),
              "Nobody may move the receiver: it is locked.");
    EXPECT_EQ(state(overviewOf(Tuning::any), 3).at("tuner"),
              "Everybody who may steer moves the receiver.");
}

TEST(WordsTest, EachPageHasItsOwnPlaceInTheState) {
    const Overview overview = overviewOf(Tuning::first);
    const Json third = state(overview, 3);
    const Json fourth = state(overview, 4);
    EXPECT_TRUE(third.at("mayTune"));
    EXPECT_FALSE(fourth.at("mayTune"));
    EXPECT_TRUE(third.at("covered"));
    EXPECT_FALSE(fourth.at("covered"));
    EXPECT_EQ(fourth.at("lost"), Json({{"network", 5}, {"hub", 6}, {"you", 9}}));
    EXPECT_EQ(fourth.at("why"), "because");
}

TEST(WordsTest, ListeningIsEchoedWithTheValuesInForce) {
    ListenWish wish;
    wish.frequency = 9000000;
    wish.listening.mode = Mode::cw;
    wish.listening.edges = {-100, 100};
    TuneResult result;
    result.covered = false;
    result.why = "the receiver is locked";
    const Json echo = Json::parse(listeningText(wish, result));
    EXPECT_EQ(echo.at("type"), "listening");
    EXPECT_EQ(echo.at("frequency"), 9000000);
    EXPECT_EQ(echo.at("mode"), "cw");
    EXPECT_EQ(echo.at("low"), -100);
    EXPECT_EQ(echo.at("agc"), "medium");
    EXPECT_TRUE(echo.at("squelch").is_null());
    EXPECT_FALSE(echo.at("covered"));
    EXPECT_EQ(echo.at("why"), "the receiver is locked");
}

TEST(WordsTest, TheWelcomeNamesEveryMode) {
    const Json welcome = Json::parse(welcomeText());
    EXPECT_EQ(welcome.at("modes").size(), modes.size());
    EXPECT_EQ(welcome.at("modes").at("lsb").at("low"), -2850);
    EXPECT_EQ(welcome.at("row").at("points"), rowPoints);
}

TEST(WordsTest, ANameThatIsNoTextBreaksNoMessage) {
    Overview overview = overviewOf(Tuning::first);
    overview.state.name = "Air\xff\"Spy";
    EXPECT_TRUE(Json::accept(stateText(overview, {})));
    EXPECT_EQ(Json::parse(goodbyeText("\"why\"")).at("why"), "\"why\"");
    EXPECT_EQ(Json::parse(pongText(0.5)).at("at"), 0.5);
}

} // namespace
