// SPDX-License-Identifier: MIT
#include "tools/ctl/Commands.h"

#include "platform/ControlHints.h"
#include "tools/ctl/Restart.h"
#include "tools/ctl/Server.h"
#include "tools/ctl/StatusText.h"

#include <chrono>
#include <iostream>
#include <unistd.h>

namespace feedline::ctl {
namespace {

using namespace std::chrono_literals;

/// A server that has lost its client is back after five.
constexpr auto comeBackTime = 6s;

Server find(const Options& options) {
    return Server::find(options.bus, std::chrono::duration<double>(options.wait));
}

void show(const ServerStatus& status, const Options& options, std::ostream& out) {
    if (options.json) {
        out << statusJson(status) << std::endl;
        return;
    }
    const bool redraws = options.watch && isatty(STDOUT_FILENO) != 0;
    out << (redraws ? "\033[H\033[2J" : "") << statusScreen(status)
        << (options.watch && !redraws ? "\n" : "") << std::flush;
}

/// Until the server goes.
void showChanges(Server& server, const Options& options, std::ostream& out) {
    server.watch();
    ServerStatus shown;
    for (;;) {
        ServerStatus status = server.status();
        if (status != shown)
            show(status, options, out);
        shown = std::move(status);
        while (!server.awaitChange(1h))
            ;
    }
}

[[noreturn]] void watch(const Options& options, std::ostream& out) {
    constexpr std::chrono::hours forEver{24 * 365};
    Server server = find(options);
    for (;;) {
        try {
            showChanges(server, options, out);
        } catch (const Failure& failure) {
            if (failure.status != ExitStatus::noServer)
                throw;
            std::cerr << "feedlinectl: the server has gone; waiting for it" << std::endl;
        }
        server = Server::find(options.bus, forEver);
    }
}

ExitStatus status(const Options& options, std::ostream& out) {
    if (options.watch)
        watch(options, out);
    show(find(options).status(), options, out);
    return ExitStatus::success;
}

ExitStatus setPort(const Options& options, std::ostream& out) {
    find(options).set("Port", options.text);
    out << "Port " << options.text << ". " << portHint << std::endl;
    return ExitStatus::success;
}

ExitStatus setAddress(const Options& options, std::ostream& out) {
    find(options).set("Address", options.text);
    out << "UDP address " << options.text << ". " << addressHint << std::endl;
    return ExitStatus::success;
}

ExitStatus setDevice(const Options& options, std::ostream& out) {
    Server server = find(options);
    const std::string title = deviceTitle(options.text, server.status().devices);
    if (title.empty())
        throw Failure(ExitStatus::badArguments,
                      "'" + options.text + "': the device is hf or airspy");
    server.set("Device", title);
    out << "Device " << title << ". " << deviceHint << std::endl;
    return ExitStatus::success;
}

ExitStatus setGain(const Options& options, std::ostream& out) {
    const gains::Gain& gain = *options.gain;
    Server server = find(options);
    if (gain.isSwitch())
        server.set(gain.property, options.value != 0);
    else
        server.set(gain.property, options.value);
    out << gain.label << ' '
        << (gain.isSwitch() ? (options.value != 0 ? "on" : "off") : std::to_string(options.value))
        << ". ";
    if (server.status().openDevice != "AirSpy")
        out << "No AirSpy is open: only the control has moved." << std::endl;
    else
        out << "Sent to the AirSpy." << (gain.preset ? std::string(" ") + presetHint : "")
            << std::endl;
    return ExitStatus::success;
}

ExitStatus restart(const Options& options, std::ostream& out) {
    Server server = find(options);
    const ServerStatus before = server.status();
    const std::string reason = reasonAgainstRestart(before);
    if (!reason.empty() && !options.force)
        throw Failure(ExitStatus::refused, reason + " (or --force)");
    server.restart();
    const ServerStatus after = server.status();
    if (after.alertTime != before.alertTime)
        out << "Alert: " << after.alert << std::endl;
    if (clientIsConnected(before))
        out << "Restarted: " << (after.openDevice.empty() ? "no receiver" : after.openDevice)
            << " is open, the client is cut off, the server is back after five seconds."
            << std::endl;
    else
        out << "Restarted: nothing listens now. To listen again: " << newStart(after) << std::endl;
    return ExitStatus::success;
}

ExitStatus quit(const Options& options, std::ostream& out) {
    Server server = find(options);
    const ServerStatus last = server.status();
    server.quit();
    out << last.program
        << " has ended, its settings are saved. It stays down until: " << start(last) << std::endl;
    return ExitStatus::success;
}

ExitStatus idle(const Options& options) {
    Server server = find(options);
    server.watch();
    const auto deadline = std::chrono::steady_clock::now() + comeBackTime;
    for (;;) {
        if (server.status().listening)
            return ExitStatus::refused;
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= 0s)
            return ExitStatus::success;
        server.awaitChange(std::chrono::ceil<std::chrono::milliseconds>(left));
    }
}

} // namespace

ExitStatus execute(const Options& options, std::ostream& out) {
    switch (options.command) {
    case Command::status:
        return status(options, out);
    case Command::setPort:
        return setPort(options, out);
    case Command::setAddress:
        return setAddress(options, out);
    case Command::setDevice:
        return setDevice(options, out);
    case Command::gain:
        return setGain(options, out);
    case Command::restart:
        return restart(options, out);
    case Command::quit:
        return quit(options, out);
    case Command::idle:
        return idle(options);
    }
    return ExitStatus::badArguments;
}

} // namespace feedline::ctl
