// SPDX-License-Identifier: MIT
#include "tools/ctl/StatusText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>

namespace feedline::ctl {
namespace {

std::string printable(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    return text;
}

std::string row(const std::string& label, const std::string& value) {
    constexpr std::size_t width = 14;
    std::string line = label;
    line.resize(std::max(width, label.size() + 1), ' ');
    return line + printable(value) + '\n';
}

std::string deviceRow(const ServerStatus& status) {
    const std::string device = status.device.empty() ? "No receiver" : status.device;
    if (status.openDevice.empty())
        return device + " (none is open)";
    return device == status.openDevice ? device + " (open)"
                                       : device + " (" + status.openDevice + " is open)";
}

std::string gainText(const gains::Gain& gain, std::int32_t value) {
    if (gain.isSwitch())
        return value != 0 ? "on" : "off";
    return std::to_string(value) + " of " + std::to_string(gain.highest);
}

std::string formatted(std::uint64_t microseconds, const char* format, bool local) {
    const auto seconds = static_cast<std::time_t>(microseconds / 1000000);
    std::tm parts{};
    local ? localtime_r(&seconds, &parts) : gmtime_r(&seconds, &parts);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), format, &parts);
    return text.data();
}

/// Keys in the program's order.
using Json = nlohmann::ordered_json;

Json gainsJson(const ServerStatus& status) {
    Json all = Json::object();
    for (std::size_t i = 0; i < gains::table.size(); ++i) {
        std::string key = gains::table.at(i).word;
        std::ranges::replace(key, '-', '_');
        if (gains::table.at(i).isSwitch())
            all[key] = status.gain.at(i) != 0;
        else
            all[key] = status.gain.at(i);
    }
    return all;
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json alertJson(const ServerStatus& status) {
    if (status.alert.empty())
        return {};
    return {{"text", status.alert},
            {"time", formatted(status.alertTime, "%Y-%m-%dT%H:%M:%SZ", false)}};
}

} // namespace

std::string statusScreen(const ServerStatus& status) {
    std::string screen = printable(status.program + " " + status.version) +
                         (status.onSystemBus ? " on the system bus\n" : " on the session bus\n");
    for (const auto* line :
         {&status.tcpStatus, &status.remoteAddress, &status.running, &status.centerFrequency})
        screen += printable(*line) + '\n';
    screen += '\n' + row("Listening", status.listening ? "yes" : "no");
    screen += row("Device", deviceRow(status));
    screen += row("Port", status.port) + row("UDP address", status.address) + '\n';
    for (std::size_t i = 0; i < gains::table.size(); ++i)
        screen += row(gains::table.at(i).label, gainText(gains::table.at(i), status.gain.at(i)));
    if (!status.alert.empty())
        screen += '\n' + row("Last alert", formatted(status.alertTime, "%Y-%m-%d %H:%M:%S", true) +
                                               "  " + status.alert);
    return screen;
}

std::string statusJson(const ServerStatus& status) {
    const Json all{{"program", status.program},
                   {"version", status.version},
                   {"bus", status.onSystemBus ? "system" : "session"},
                   {"tcp_status", status.tcpStatus},
                   {"remote_address", status.remoteAddress},
                   {"running", status.running},
                   {"center_frequency", status.centerFrequency},
                   {"listening", status.listening},
                   {"last_alert", alertJson(status)},
                   {"port", status.port},
                   {"address", status.address},
                   {"devices", status.devices},
                   {"device", textOrNull(status.device)},
                   {"open_device", textOrNull(status.openDevice)},
                   {"held_devices", status.heldDevices},
                   {"gains", gainsJson(status)}};
    return all.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace feedline::ctl
