// SPDX-License-Identifier: MIT
#include "tools/ctl/Restart.h"

#include <algorithm>
#include <cctype>

namespace feedline::ctl {
namespace {

std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string service(const ServerStatus& status, const char* verb) {
    if (status.program != "feedlined")
        return "start " + status.program;
    const std::string manager = status.onSystemBus ? "sudo systemctl " : "systemctl --user ";
    return manager + verb + " feedlined";
}

} // namespace

std::string deviceTitle(const std::string& word, const std::vector<std::string>& devices) {
    const std::string wanted = lower(word);
    for (const std::string& title : devices)
        if (lower(title) == wanted || (wanted == "hf" && title == "AirSpyHF+"))
            return title;
    return {};
}

bool clientIsConnected(const ServerStatus& status) {
    return status.listening && status.tcpStatus == "TCP Server: CONNECTED";
}

std::string newStart(const ServerStatus& status) {
    return status.program == "feedlined"
               ? service(status, "restart")
               : "close its window and start " + status.program + " again";
}

std::string start(const ServerStatus& status) {
    return service(status, "start");
}

std::string reasonAgainstRestart(const ServerStatus& status) {
    const std::string instead = "; instead: " + newStart(status);
    if (!status.listening)
        return "nothing listens, and Restart alone does not change that" + instead;
    if (!clientIsConnected(status))
        return "no client is connected, so that Restart would end listening" + instead;
    const auto& held = status.heldDevices;
    if (std::ranges::find(held, status.device) != held.end())
        return "the server holds the " + status.device +
               " already and could not open it a second time" + instead;
    return {};
}

} // namespace feedline::ctl
