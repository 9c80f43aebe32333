// SPDX-License-Identifier: MIT
#include "EmulatedServer.h"

#include <fstream>

namespace feedline::test {

EmulatedServer::EmulatedServer(int type, const Emulated& emulated)
    : port_(reserved_.number()), settings{port_, type, "127.0.0.1"}, process(launchOf(emulated)),
      receiver(folder_.file("control")) {}

EmulatedServer::EmulatedServer(std::uint16_t port, int type, const Emulated& emulated)
    : port_(port), settings{port_, type, "127.0.0.1"}, process(launchOf(emulated)),
      receiver(folder_.file("control")) {}

ServerProcess::Launch EmulatedServer::launchOf(const Emulated& emulated) const {
    std::ofstream(folder_.file("scene")) << emulated.scene;
    ServerProcess::Launch launch{.program = emulated.program,
                                 .settings = settings,
                                 .environment = emulated.more,
                                 .vendorsThreadsExcused = emulated.fails};
    launch.environment["FEEDLINE_EMULATOR_DEVICES"] = emulated.devices;
    launch.environment["FEEDLINE_EMULATOR_SCENE"] = folder_.file("scene");
    launch.environment["FEEDLINE_EMULATOR_CONTROL"] = folder_.file("control");
    if (!emulated.faults.empty())
        launch.environment["FEEDLINE_EMULATOR_FAULTS"] = emulated.faults;
    return launch;
}

} // namespace feedline::test
