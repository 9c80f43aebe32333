// SPDX-License-Identifier: MIT
// Controls that note what is done with them.
#pragma once

#include "platform/HeldControls.h"
#include "platform/ServerControls.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace feedline::test {

struct ScriptedControls {
    HeldTextField tcpStatus{"TCP Server: WAITING FOR CONNECT"};
    HeldTextField remoteAddress{"Remote Address: NOT CONNECTED"};
    HeldTextField running{"AirSpyHF+ IDLE"};
    HeldTextField centerFrequency{"Center Frequency: 0.000 kHz"};
    HeldTextField port{"50000"};
    HeldTextField address{"127.0.0.1"};
    std::int64_t device = 0;
    std::int64_t openDevice = 0;
    std::vector<std::int64_t> heldDevices{0};
    bool listening = true;
    bool alertIsUp = false;
    AlertRecord alert;
    std::vector<std::int32_t> gains = std::vector<std::int32_t>(7);

    std::vector<std::string> done; ///< actions in their order
    std::function<void()> onRestart = [] {
    };

    ServerControls controls() {
        ServerControls all;
        all.program = "program";
        all.version = "1.2.3";
        all.tcpStatus = &tcpStatus;
        all.remoteAddress = &remoteAddress;
        all.running = &running;
        all.centerFrequency = &centerFrequency;
        all.port = &port;
        all.address = &address;
        all.devices = [] {
            return std::vector<std::string>{"AirSpyHF+", "AirSpy"};
        };
        all.chosenDevice = [this] {
            return device;
        };
        all.chooseDevice = [this](std::int64_t index) {
            device = index;
            done.push_back("device " + std::to_string(index));
        };
        all.lnaAgc = gain(0);
        all.mixerAgc = gain(1);
        all.lnaGain = gain(2);
        all.mixerGain = gain(3);
        all.vgaGain = gain(4);
        all.linearity = gain(5);
        all.sensitivity = gain(6);
        all.restart = [this] {
            done.emplace_back("restart");
            onRestart();
        };
        all.quit = [this] {
            done.emplace_back("quit");
        };
        all.listening = [this] {
            return listening;
        };
        all.openDevice = [this] {
            return openDevice;
        };
        all.heldDevices = [this] {
            return heldDevices;
        };
        all.lastAlert = [this] {
            return alert;
        };
        all.alertShown = [this] {
            return alertIsUp;
        };
        return all;
    }

private:
    GainControl gain(std::size_t number) {
        return {[this, number] { return gains.at(number); },
                [this, number](std::int32_t value) {
                    gains.at(number) = value;
                    done.push_back("gain " + std::to_string(number) + " " + std::to_string(value));
                }};
    }
};

} // namespace feedline::test
