// SPDX-License-Identifier: MIT
#include "emulator/bus/Config.h"

#include "emulator/signals/Text.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace feedline::emulator {
namespace {

constexpr std::uint32_t mostRate = 50000000;

void readDevices(Config& config, const std::string& text) {
    std::vector<Kind> devices;
    for (const std::string& name : parts(text, ',')) {
        if (name == "hf")
            devices.push_back(Kind::hf);
        else if (name == "airspy")
            devices.push_back(Kind::airspy);
        else if (name != "none")
            throw std::runtime_error("unknown receiver: " + name);
    }
    config.devices = devices;
}

void readScene(Config& config, const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    if (!file || !(text << file.rdbuf()))
        throw std::runtime_error(path + ": cannot be read");
    try {
        config.scene = parseScene(text.str());
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(path + ": " + error.what());
    }
}

void readSpeed(Config& config, const std::string& text) {
    const auto speed = speedOf(text);
    if (!speed)
        throw std::runtime_error("neither a factor above 0 nor max: " + text);
    config.speed = *speed;
}

void readPatience(Config& config, const std::string& text) {
    const auto milliseconds = number(text);
    if (!milliseconds || *milliseconds < 0 || *milliseconds > 1e6)
        throw std::runtime_error("not a number of milliseconds: " + text);
    config.patience = std::chrono::nanoseconds(static_cast<long>(*milliseconds * 1e6));
}

std::uint32_t rateOf(const std::string& text) {
    const auto rate = number(text);
    if (!rate || *rate < 1000 || *rate > mostRate)
        throw std::runtime_error("not a sample rate: " + text);
    return static_cast<std::uint32_t>(*rate);
}

void readHfRates(Config& config, const std::string& text) {
    std::vector<HfRate> rates;
    for (const std::string& part : parts(text, ',')) {
        const bool lowIf = part.ends_with(":low");
        if (part != "none")
            rates.push_back({rateOf(part.substr(0, part.size() - (lowIf ? 4 : 0))), lowIf});
    }
    config.hfRates = rates;
}

void readAirspyRates(Config& config, const std::string& text) {
    std::vector<std::uint32_t> rates;
    for (const std::string& part : parts(text, ','))
        if (part != "none")
            rates.push_back(rateOf(part));
    config.airspyRates = rates;
}

struct Variable {
    const char* name;
    void (*read)(Config&, const std::string&);
};

constexpr Variable variables[] = {
    {"FEEDLINE_EMULATOR_DEVICES", readDevices},
    {"FEEDLINE_EMULATOR_SCENE", readScene},
    {"FEEDLINE_EMULATOR_RECORDING",
     [](Config& config, const std::string& path) {
         config.recording = readRecording(path);
     }},
    {"FEEDLINE_EMULATOR_SPEED", readSpeed},
    {"FEEDLINE_EMULATOR_PATIENCE", readPatience},
    {"FEEDLINE_EMULATOR_RATES_HF", readHfRates},
    {"FEEDLINE_EMULATOR_RATES_AIRSPY", readAirspyRates},
    {"FEEDLINE_EMULATOR_CONTROL",
     [](Config& config, const std::string& path) {
         config.controlPath = path;
     }},
    {"FEEDLINE_EMULATOR_FAULTS",
     [](Config& config, const std::string& text) {
         config.faults = text;
     }},
};

} // namespace

std::optional<double> speedOf(const std::string& text) {
    if (text == "max")
        return 0;
    const auto factor = number(text);
    return factor && *factor > 0 ? factor : std::nullopt;
}

Config readConfig(const Environment& environment, const Complain& complain) {
    Config config;
    config.scene = parseScene(defaultSceneText());
    for (const Variable& variable : variables) {
        const char* text = environment(variable.name);
        if (text == nullptr)
            continue;
        try {
            variable.read(config, text);
        } catch (const std::exception& error) {
            complain(std::string(variable.name) + ": " + error.what());
        }
    }
    return config;
}

} // namespace feedline::emulator
