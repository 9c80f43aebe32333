// SPDX-License-Identifier: MIT
#include "emulator/usb/ProcessBus.h"

#include "emulator/control/Commands.h"
#include "emulator/control/ControlSocket.h"
#include "emulator/signals/Text.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace feedline::emulator {
namespace {

void complain(const std::string& line) {
    std::fprintf(stderr, "feedline emulator: %s\n", line.c_str());
}

void openForBusiness(Bus& bus, const Config& config) {
    for (const std::string& command : parts(config.faults, ';'))
        if (const std::string reply = execute(bus, command); !reply.starts_with("ok"))
            complain(std::string("FEEDLINE_EMULATOR_FAULTS: ")
                         .append(command)
                         .append(": ")
                         .append(reply));
    if (!config.controlPath.empty() && !listenForCommands(bus, config.controlPath))
        complain("FEEDLINE_EMULATOR_CONTROL: cannot listen on " + config.controlPath);
}

} // namespace

Bus& processBus() {
    static Bus& bus = *[] {
        const Config config =
            readConfig([](const char* name) { return std::getenv(name); }, complain);
        auto* made = new Bus(config);
        openForBusiness(*made, config);
        return made;
    }();
    return bus;
}

} // namespace feedline::emulator
