// A server with receivers on the air and somewhere to send its datagrams.
#pragma once

#include "EmulatorControl.h"
#include "ServerProcess.h"
#include "WireClient.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace feedline::test {

/// Types of receiver as the settings name them.
enum ReceiverType { receiverHf = 0, receiverAirspy = 1, noReceiver = 2 };

constexpr double hfRate = 768000;      ///< pairs per second
constexpr double airspyRate = 2500000; ///< pairs per second
constexpr std::size_t spectrumDatagrams = 65536 / 256;

/// A carrier 50 kHz above the two frequencies that tests tune to, and noise.
constexpr auto plainScene = "carrier 7.150M -20\ncarrier 100.050M -20\nnoise -129\n";
constexpr std::uint32_t hfCentre = 7100000;
constexpr std::uint32_t airspyCentre = 100000000;

struct Emulated {
    std::string devices = "hf";
    std::string faults{};
    std::map<std::string, std::string> more{}; ///< further variables
    Program program = Program::feedlined;
    bool fails = false; ///< the test has the receiver fail while it streams
};

class EmulatedServer {
    ScratchFolder scratch_;

    ServerProcess::Launch launchOf(int type, const Emulated& emulated) const {
        std::ofstream(scratch_.path() / "scene") << plainScene;
        ServerProcess::Launch launch{.program = emulated.program,
                                     .settings = {datagrams.port(), type, "127.0.0.1"},
                                     .environment = emulated.more,
                                     .vendorsThreadsExcused = emulated.fails};
        launch.environment["FEEDLINE_EMULATOR_DEVICES"] = emulated.devices;
        launch.environment["FEEDLINE_EMULATOR_SCENE"] = scratch_.path() / "scene";
        launch.environment["FEEDLINE_EMULATOR_CONTROL"] = scratch_.path() / "control";
        if (!emulated.faults.empty())
            launch.environment["FEEDLINE_EMULATOR_FAULTS"] = emulated.faults;
        return launch;
    }

public:
    explicit EmulatedServer(int type, const Emulated& emulated = {})
        : settings{datagrams.port(), type, "127.0.0.1"}, process(launchOf(type, emulated)),
          receiver(scratch_.path() / "control") {}

    StreamClient datagrams;
    Settings settings; ///< as given, and to be found again at the end
    ServerProcess process;
    test::EmulatorControl receiver; ///< the emulated ones: faults, pulling out, their state

    std::uint16_t port() const { return datagrams.port(); }
};

inline Bytes statusAnswer(std::uint8_t status) {
    return {0x05, 0x00, 0x05, 0x00, status};
}
constexpr std::uint8_t idle = 11;
constexpr std::uint8_t running = 12;

} // namespace feedline::test
