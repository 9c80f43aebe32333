// SPDX-License-Identifier: MIT
#include "tools/hub/web/messages/Words.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>

namespace feedline::hub::web {

namespace {

using Json = nlohmann::ordered_json;

constexpr int protocolVersion = 1;

std::string written(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// As the server's own window has them.
Json serversLines(const ReceiverState& state) {
    std::array<char, 64> frequency{};
    std::snprintf(frequency.data(), frequency.size(), "Center Frequency: %.3f kHz",
                  state.frequency / 1000.0);
    return {state.connected ? "TCP Server: CONNECTED" : "TCP Server: DISCONNECTED",
            state.connected && state.running ? "AirSpyHF+ RUNNING" : "AirSpyHF+ IDLE",
            frequency.data()};
}

// Who moves the receiver, in words.
std::string tunerOf(const Overview& overview, std::uint64_t number) {
    if (overview.tuning == Tuning::locked)
        return "Nobody may move the receiver: it is locked.";
    if (overview.tuning == Tuning::any)
        return "Everybody who may steer moves the receiver.";
    for (const ListenerReport& listener : overview.listeners)
        if (listener.mayTune)
            return listener.number == number ? "You came first: you move the receiver."
                                             : "Another listener (" + listener.output +
                                                   ") came first and moves the receiver.";
    return "Nobody is there who may move the receiver.";
}

const ListenerReport* own(const Overview& overview, std::uint64_t number) {
    for (const ListenerReport& listener : overview.listeners)
        if (listener.number == number)
            return &listener;
    return nullptr;
}

Json losses(const Overview& overview, const Standing& standing) {
    const ListenerReport* const listener = own(overview, standing.number);
    return {{"network", overview.figures.lostOnNetwork},
            {"hub", overview.figures.lostInHub},
            {"you", standing.dropped + (listener != nullptr ? listener->lostSlow : 0)}};
}

// Those of programs and people; the waterfall reads the band for all pages.
std::size_t listenersIn(const Overview& overview) {
    return static_cast<std::size_t>(
        std::count_if(overview.listeners.begin(), overview.listeners.end(),
                      [](const ListenerReport& listener) { return listener.counts; }));
}

// In the order of the welcome's list; null where there are none to steer.
Json gainsOf(const Overview& overview) {
    return overview.gains ? Json(*overview.gains) : Json();
}

} // namespace

std::string welcomeText() {
    Json message = {{"type", "welcome"}, {"version", protocolVersion}};
    message["row"] = {{"points", rowPoints}, {"floor", levelFloor}, {"step", levelStep}};
    message["cwPitch"] = cwPitch;
    for (const ModeTraits& mode : modes)
        message["modes"][std::string(mode.name)] = {{"low", mode.edges.low},
                                                    {"high", mode.edges.high},
                                                    {"lowest", mode.limits.low},
                                                    {"highest", mode.limits.high},
                                                    {"narrowest", mode.narrowest}};
    for (const gains::Gain& gain : gains::table)
        message["gains"].push_back(
            {{"name", gain.word}, {"label", gain.label}, {"highest", gain.highest}});
    return written(message);
}

std::string stateText(const Overview& overview, const Standing& standing) {
    const ReceiverState& state = overview.state;
    const ListenerReport* const listener = own(overview, standing.number);
    return written({{"type", "state"},
                    {"lines", serversLines(state)},
                    {"connected", state.connected},
                    {"running", state.running},
                    {"silent", state.silent},
                    {"name", state.name},
                    {"frequency", state.frequency},
                    {"rate", state.rate},
                    {"listeners", listenersIn(overview)},
                    {"tuner", tunerOf(overview, standing.number)},
                    {"mayTune", listener != nullptr && listener->mayTune},
                    {"maySteer", standing.maySteer},
                    {"token", standing.byToken},
                    {"why", standing.why},
                    {"covered", listener == nullptr || listener->covered},
                    {"gains", gainsOf(overview)},
                    {"lost", losses(overview, standing)}});
}

std::string listeningText(const ListenWish& wish, const TuneResult& result) {
    const Listening& listening = wish.listening;
    return written({{"type", "listening"},
                    {"frequency", wish.frequency},
                    {"mode", traits(listening.mode).name},
                    {"low", listening.edges.low},
                    {"high", listening.edges.high},
                    {"agc", nameOf(listening.gainSpeed)},
                    {"gain", listening.fixedGain},
                    {"squelch", listening.squelch ? Json(*listening.squelch) : Json()},
                    {"moved", result.moved},
                    {"covered", result.covered},
                    {"why", result.why}});
}

std::string pongText(double at) {
    return written({{"type", "pong"}, {"at", at}});
}

std::string goodbyeText(const std::string& why) {
    return written({{"type", "goodbye"}, {"why", why}});
}

} // namespace feedline::hub::web
