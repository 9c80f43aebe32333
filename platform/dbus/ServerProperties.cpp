// SPDX-License-Identifier: MIT
#include "platform/dbus/ServerProperties.h"

#include "platform/GainLimits.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace feedline::dbus {
namespace {

constexpr std::size_t longestAddress = 255; ///< bytes; a longer one would end the next start

Property readOnly(const char* name, const char* type, std::function<Value()> read) {
    return {name, type, false, std::move(read), nullptr};
}

Property constant(const char* name, const char* type, std::function<Value()> read) {
    return {name, type, true, std::move(read), nullptr};
}

Property line(const char* name, const TextField* field) {
    return readOnly(name, "s", [field] { return field->stringValue(); });
}

/// What the numeric field lets a user type.
bool isIntegerOrNothing(const std::string& text) {
    const std::size_t sign = text.starts_with('+') || text.starts_with('-') ? 1 : 0;
    return text.find_first_not_of("0123456789", sign) == std::string::npos;
}

bool isOneLine(const std::string& text) {
    return std::ranges::none_of(text, [](unsigned char c) { return c < ' ' || c == 0x7F; });
}

Property port(TextField* field) {
    const auto write = [field](const Value& value) -> std::string {
        const auto& text = std::get<std::string>(value);
        if (text.size() > longestAddress || !isIntegerOrNothing(text))
            return "Port takes an optional sign and digits, or nothing";
        field->setStringValue(text);
        return {};
    };
    return {"Port", "s", false, [field] { return field->stringValue(); }, write};
}

Property address(TextField* field) {
    const auto write = [field](const Value& value) -> std::string {
        const auto& text = std::get<std::string>(value);
        if (text.size() > longestAddress || !isOneLine(text))
            return "Address takes one line of at most 255 bytes";
        field->setStringValue(text);
        return {};
    };
    return {"Address", "s", false, [field] { return field->stringValue(); }, write};
}

std::string titleAt(const std::vector<std::string>& titles, std::int64_t index) {
    const bool listed = index >= 0 && index < static_cast<std::int64_t>(titles.size());
    return listed ? titles[static_cast<std::size_t>(index)] : std::string();
}

std::string choiceOf(const std::vector<std::string>& titles) {
    std::string choice;
    for (const std::string& title : titles)
        choice += (choice.empty() ? "" : ", ") + title;
    return "Device takes one of: " + choice;
}

Property device(const ServerControls& controls) {
    const auto read = [&controls] {
        return titleAt(controls.devices(), controls.chosenDevice());
    };
    const auto write = [&controls](const Value& value) -> std::string {
        const std::vector<std::string> titles = controls.devices();
        const auto found = std::ranges::find(titles, std::get<std::string>(value));
        if (found == titles.end())
            return choiceOf(titles);
        controls.chooseDevice(found - titles.begin());
        return {};
    };
    return {"Device", "s", false, read, write};
}

std::vector<std::string> heldDevices(const ServerControls& controls) {
    std::vector<std::string> held;
    for (const std::int64_t index : controls.heldDevices())
        held.push_back(titleAt(controls.devices(), index));
    return held;
}

Property gainSwitch(const char* name, const GainControl& control) {
    const auto write = [&control](const Value& value) -> std::string {
        control.move(std::get<bool>(value) ? 1 : 0);
        return {};
    };
    return {name, "b", false, [&control] { return control.value() != 0; }, write};
}

Property gain(const char* name, const GainControl& control, std::int32_t highest) {
    const auto write = [name, &control, highest](const Value& value) -> std::string {
        const std::int32_t wanted = std::get<std::int32_t>(value);
        if (wanted < 0 || wanted > highest)
            return std::string(name) + " takes 0 to " + std::to_string(highest);
        control.move(wanted);
        return {};
    };
    return {name, "i", false, [&control] { return control.value(); }, write};
}

} // namespace

std::vector<Property> propertiesOf(const ServerControls& controls) {
    return {
        constant("Program", "s", [&controls] { return controls.program; }),
        constant("Version", "s", [&controls] { return controls.version; }),
        line("TcpStatus", controls.tcpStatus),
        line("RemoteAddress", controls.remoteAddress),
        line("Running", controls.running),
        line("CenterFrequency", controls.centerFrequency),
        readOnly("Listening", "b", [&controls] { return controls.listening(); }),
        readOnly("LastAlert", "(st)", [&controls] { return controls.lastAlert(); }),
        port(controls.port),
        address(controls.address),
        constant("Devices", "as", [&controls] { return controls.devices(); }),
        device(controls),
        readOnly("OpenDevice", "s",
                 [&controls] { return titleAt(controls.devices(), controls.openDevice()); }),
        readOnly("HeldDevices", "as", [&controls] { return heldDevices(controls); }),
        gainSwitch("LnaAgc", controls.lnaAgc),
        gainSwitch("MixerAgc", controls.mixerAgc),
        gain("LnaGain", controls.lnaGain, highestLnaGain),
        gain("MixerGain", controls.mixerGain, highestMixerGain),
        gain("VgaGain", controls.vgaGain, highestVgaGain),
        gain("Linearity", controls.linearity, highestPreset),
        gain("Sensitivity", controls.sensitivity, highestPreset),
    };
}

} // namespace feedline::dbus
