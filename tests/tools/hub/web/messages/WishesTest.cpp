// SPDX-License-Identifier: MIT
#include "tools/hub/web/messages/Wishes.h"

#include "tools/gains/GainTable.h"

#include <gtest/gtest.h>

#include <string>

using namespace feedline::hub::web;

namespace {

template <typename Kind>
Kind wish(const std::string& text) {
    return std::get<Kind>(parseWish(text));
}

TEST(WishesTest, AHelloMayBringAToken) {
    EXPECT_EQ(wish<HelloWish>(R"({"type":"hello"})").token, "");
    EXPECT_EQ(wish<HelloWish>(R"({"type":"hello","token":"secret"})").token, "secret");
}

TEST(WishesTest, AViewIsAPartOfTheSpectrum) {
    const View view = wish<ViewWish>(R"({"type":"view","low":7000000,"span":192000.5})").view;
    EXPECT_EQ(view, (View{7000000, 192000.5}));
}

TEST(WishesTest, AViewIsBroughtIntoRange) {
    EXPECT_EQ(wish<ViewWish>(R"({"type":"view","low":-1e300,"span":0})").view.span, 1000);
    EXPECT_EQ(wish<ViewWish>(R"({"type":"view","low":-1e300,"span":0})").view.low, -4294967295.0);
    EXPECT_EQ(wish<ViewWish>(R"({"type":"view","low":0,"span":1e300})").view.span, 4294967295.0);
}

TEST(WishesTest, ListeningHasEverythingThatWasChosen) {
    const auto listen = wish<ListenWish>(
        R"({"type":"listen","frequency":7200000.4,"mode":"usb","low":200,"high":2400,)"
        R"("agc":"off","gain":55,"squelch":-90})");
    EXPECT_EQ(listen.frequency, 7200000U);
    EXPECT_EQ(listen.listening.mode, Mode::usb);
    EXPECT_EQ(listen.listening.edges, (Edges{200, 2400}));
    EXPECT_EQ(listen.listening.gainSpeed, GainSpeed::off);
    EXPECT_EQ(listen.listening.fixedGain, 55);
    EXPECT_EQ(listen.listening.squelch, -90);
}

TEST(WishesTest, WhatListeningLeavesOutIsTheModesOwn) {
    const auto listen =
        wish<ListenWish>(R"({"type":"listen","frequency":1,"mode":"am","agc":"slow"})");
    EXPECT_EQ(listen.listening.edges, traits(Mode::am).edges);
    EXPECT_EQ(listen.listening.squelch, std::nullopt);
    EXPECT_EQ(listen.listening.fixedGain, Listening().fixedGain);
}

TEST(WishesTest, ListeningIsBroughtIntoRange) {
    const auto listen =
        wish<ListenWish>(R"({"type":"listen","frequency":-5,"mode":"cw","low":-1e9,"high":1e9,)"
                         R"("agc":"fast","gain":1e9,"squelch":-1e9})");
    EXPECT_EQ(listen.frequency, 0U);
    EXPECT_EQ(listen.listening.edges, traits(Mode::cw).limits);
    EXPECT_EQ(listen.listening.fixedGain, 120);
    EXPECT_EQ(listen.listening.squelch, levelFloor);
    const auto high = wish<ListenWish>(
        R"({"type":"listen","frequency":1e99,"mode":"cw","agc":"fast","squelch":null})");
    EXPECT_EQ(high.frequency, 4294967295U);
    EXPECT_EQ(high.listening.squelch, std::nullopt);
}

TEST(WishesTest, SoundHasACodecOrNone) {
    EXPECT_EQ(wish<SoundWish>(R"({"type":"sound","codec":"off"})").sound, Sound::off);
    EXPECT_EQ(wish<SoundWish>(R"({"type":"sound","codec":"adpcm"})").sound, Sound::adpcm);
    EXPECT_EQ(wish<SoundWish>(R"({"type":"sound","codec":"opus"})").sound, Sound::opus);
}

TEST(WishesTest, RunAndPing) {
    EXPECT_TRUE(wish<RunWish>(R"({"type":"run","on":true})").running);
    EXPECT_EQ(wish<PingWish>(R"({"type":"ping","at":12.5})").at, 12.5);
}

TEST(WishesTest, AGainHasAPlaceAndAValueInReach) {
    const auto gain = wish<GainWish>(R"({"type":"gain","name":"vga","value":7})");
    EXPECT_EQ(gain.place, feedline::gains::placeOf("vga"));
    EXPECT_EQ(gain.value, 7);
    EXPECT_EQ(wish<GainWish>(R"({"type":"gain","name":"lna","value":-1e99})").value, 0);
    EXPECT_EQ(wish<GainWish>(R"({"type":"gain","name":"lna","value":1e99})").value, 21);
}

class BadWishTest : public testing::TestWithParam<const char*> {};

TEST_P(BadWishTest, IsRefused) {
    EXPECT_THROW(parseWish(GetParam()), BadWish);
}

INSTANTIATE_TEST_SUITE_P(
    All, BadWishTest,
    testing::Values("", "x", "[]", "12", "{}", R"({"type":1})", R"({"type":"fly"})",
                    R"({"type":"run"})", R"({"type":"run","on":1})", R"({"type":"ping","at":"x"})",
                    R"({"type":"view","low":1})", R"({"type":"view","low":1,"span":"wide"})",
                    R"({"type":"sound","codec":"mp3"})", R"({"type":"hello","token":7})",
                    R"({"type":"listen","frequency":1,"mode":"am"})",
                    R"({"type":"listen","frequency":1,"mode":"dab","agc":"off"})",
                    R"({"type":"listen","frequency":1,"mode":"am","agc":"off","squelch":"x"})",
                    R"({"type":"listen","mode":"am","agc":"off"})", R"({"type":"run","on":true)",
                    R"({"type":"gain","name":"if","value":1})", R"({"type":"gain","name":"lna"})",
                    "{\"type\":\"\xff\"}"));

TEST(WishesTest, ALongMessageIsRefused) {
    EXPECT_NO_THROW(parseWish(R"({"type":"run","on":true})" + std::string(1900, ' ')));
    EXPECT_THROW(parseWish(R"({"type":"run","on":true})" + std::string(longestWish, ' ')), BadWish);
}

} // namespace
