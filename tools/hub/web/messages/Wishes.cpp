// SPDX-License-Identifier: MIT
#include "tools/hub/web/messages/Wishes.h"

#include "tools/gains/GainTable.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace feedline::hub::web {

namespace {

using Json = nlohmann::json;

constexpr double highestFrequency = std::numeric_limits<std::uint32_t>::max(); // Hz
constexpr double narrowestView = 1000;                                         // Hz
constexpr double highestGain = 120;                                            // dB

double number(const Json& message, const char* name) {
    const auto found = message.find(name);
    if (found == message.end() || !found->is_number())
        throw BadWish(std::string("no number called ") + name);
    return found->get<double>();
}

double numberOr(const Json& message, const char* name, double otherwise) {
    return message.contains(name) && !message.at(name).is_null() ? number(message, name)
                                                                 : otherwise;
}

std::string text(const Json& message, const char* name) {
    const auto found = message.find(name);
    if (found == message.end() || !found->is_string())
        throw BadWish(std::string("no text called ") + name);
    return found->get<std::string>();
}

bool yesOrNo(const Json& message, const char* name) {
    const auto found = message.find(name);
    if (found == message.end() || !found->is_boolean())
        throw BadWish(std::string("no truth value called ") + name);
    return found->get<bool>();
}

Wish hello(const Json& message) {
    return HelloWish{message.contains("token") ? text(message, "token") : std::string()};
}

Wish view(const Json& message) {
    const double span = std::clamp(number(message, "span"), narrowestView, highestFrequency);
    const double low = number(message, "low");
    return ViewWish{{std::clamp(low, -highestFrequency, highestFrequency), span}};
}

Wish listen(const Json& message) {
    ListenWish wish;
    const auto mode = modeCalled(text(message, "mode"));
    const auto speed = gainSpeedCalled(text(message, "agc"));
    if (!mode || !speed)
        throw BadWish("no such mode or AGC");
    wish.frequency = static_cast<std::uint32_t>(
        std::round(std::clamp(number(message, "frequency"), 0.0, highestFrequency)));
    wish.listening.mode = *mode;
    wish.listening.gainSpeed = *speed;
    const double none = std::numeric_limits<double>::quiet_NaN();
    wish.listening.edges =
        allowedEdges(*mode, {numberOr(message, "low", none), numberOr(message, "high", none)});
    wish.listening.fixedGain =
        std::clamp(numberOr(message, "gain", wish.listening.fixedGain), 0.0, highestGain);
    if (message.contains("squelch") && !message.at("squelch").is_null())
        wish.listening.squelch = std::clamp(number(message, "squelch"), levelFloor, 0.0);
    return wish;
}

Wish sound(const Json& message) {
    const std::string codec = text(message, "codec");
    if (codec == "off")
        return SoundWish{Sound::off};
    if (codec == "adpcm")
        return SoundWish{Sound::adpcm};
    if (codec == "opus")
        return SoundWish{Sound::opus};
    throw BadWish("no such codec");
}

Wish run(const Json& message) {
    return RunWish{yesOrNo(message, "on")};
}

Wish gain(const Json& message) {
    const std::size_t place = gains::placeOf(text(message, "name"));
    if (place == gains::table.size())
        throw BadWish("no such gain");
    constexpr double most = highestPreset; // No gain goes further.
    return GainWish{place, static_cast<std::int32_t>(
                               std::round(std::clamp(number(message, "value"), 0.0, most)))};
}

Wish ping(const Json& message) {
    return PingWish{number(message, "at")};
}

struct Kind {
    std::string_view type;
    Wish (*read)(const Json& message);
};
constexpr std::array<Kind, 7> kinds{{{"hello", hello},
                                     {"view", view},
                                     {"listen", listen},
                                     {"sound", sound},
                                     {"run", run},
                                     {"gain", gain},
                                     {"ping", ping}}};

} // namespace

Wish parseWish(std::string_view received) {
    if (received.size() > longestWish)
        throw BadWish("a message of " + std::to_string(received.size()) + " bytes");
    const Json message = Json::parse(received, nullptr, false);
    if (!message.is_object())
        throw BadWish("no JSON object");
    const std::string type = text(message, "type");
    const auto* const kind = std::find_if(kinds.begin(), kinds.end(),
                                          [&](const Kind& each) { return each.type == type; });
    if (kind == kinds.end())
        throw BadWish("no such type");
    return kind->read(message);
}

} // namespace feedline::hub::web
