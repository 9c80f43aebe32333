// SPDX-License-Identifier: MIT
// What a failing call of a vendor's function is to lead to, receiver by receiver.
#pragma once

#include "app/RunTimeState.h"

#include <map>
#include <string>
#include <vector>

namespace feedline::test {

/// A call that an initialisation makes.
struct InitStep {
    std::string function;
    int result;            ///< of the initialisation when the call fails; 0 where it goes on
    std::string line;      ///< what is logged then, empty for nothing
    bool leavesNoReceiver; ///< open, that is
};

struct Receiver {
    DeviceType type;
    int error; ///< of a failing call, and of one that has no open receiver to go to
    std::string nameReply, startFunction, stopFunction, tuneFunction;
    std::string startLine, tuneLine; ///< logged when they fail; a stop logs the start's
    std::string tuneAlert;
    std::vector<InitStep> init;                             ///< in the order of the calls
    std::map<int, std::vector<std::string>> alertsByResult; ///< of the initialisation
    std::vector<std::string> alsoCalled;
};

inline const Receiver& airspyHf() {
    static const Receiver receiver{
        .type = deviceAirspyHf,
        .error = -1,
        .nameReply = "0E 00 01 00 41 69 72 53 70 79 48 46 2B 00",
        .startFunction = "airspyhf_start",
        .stopFunction = "airspyhf_stop",
        .tuneFunction = "airspyhf_set_freq",
        .startLine = "airspyhf_start err -1  ",
        .tuneLine = "airspyhf_set_freq err -1  ",
        .tuneAlert = "AirSpyHF+ set frequency fail",
        .init = {{"airspyhf_list_devices", -1, "n -1", true},
                 {"airspyhf_open_sn", -2, "err -1", true},
                 {"airspyhf_get_samplerates", -3, "err -1  numSampleRates 2", false},
                 {"airspyhf_get_samplerates", -4, "", false},
                 {"airspyhf_get_calibration", 0, "err -1  ppb -12", false},
                 {"airspyhf_board_partid_serialno_read", 0,
                  "err -1  airspyhf_board_partid_serialno_read 7 A1 B2 C3 D4", false},
                 {"airspyhf_version_string_read", 0, "err -1  airspyhf_version_string_read ",
                  false},
                 {"airspyhf_set_samplerate", -5, "airspyhf_set_samplerate err -1  ", false},
                 {"airspyhf_set_freq", -102, "airspyhf_set_freq err -1  ", false}},
        .alertsByResult = {{-1, {"No AirSpyHF+ found"}},
                           {-2, {"Could not open AirSpyHF+", "Could not open AirSpyHF+"}},
                           {-3, {"No sample rates returned by AirSpyHF+"}},
                           {-4, {"Could not read AirSpyHF+ sample rates"}},
                           {-5, {"Could not set AirSpyHF+ sample rate"}},
                           {-102, {"AirSpyHF+ set frequency fail"}}},
        .alsoCalled = {}};
    return receiver;
}

/// Its initialisation fails without alerts, and goes on after most failures.
inline const Receiver& airspy() {
    static const Receiver receiver{
        .type = deviceAirspy,
        .error = -2,
        .nameReply = "0B 00 01 00 41 69 72 53 70 79 00",
        .startFunction = "airspy_start_rx",
        .stopFunction = "airspy_stop_rx",
        .tuneFunction = "airspy_set_freq",
        .startLine = "airspyhf_start err -2  ",
        .tuneLine = "airspy_set_freq err -2  ",
        .tuneAlert = "AirSpy set frequency fail",
        .init = {{"airspy_list_devices", -1, "n -2", true},
                 {"airspy_open", -2, "err -2", true},
                 {"airspy_set_sample_type", 0, "airspy_set_sample_type err -2  ", false},
                 {"airspy_get_samplerates", -3, "err -2  numSampleRates 2", false},
                 {"airspy_get_samplerates", -4, "", false},
                 {"airspy_set_samplerate", 0, "airspy_set_samplerate err -2  ", false},
                 {"airspy_board_partid_serialno_read", 0,
                  "err -2  airspy_board_partid_serialno_read 7 8 A1 B2 C3 D4", false},
                 {"airspy_version_string_read", 0, "err -2  airspy_version_string_read ", false},
                 {"airspy_set_packing", 0, "airspy_set_packing err -2  ", false},
                 {"airspy_set_rf_bias", -5, "airspy_set_rf_bias err -2  ", false}},
        .alertsByResult = {},
        .alsoCalled = {"airspy_is_streaming", "airspy_set_lna_gain", "airspy_set_mixer_gain",
                       "airspy_set_vga_gain", "airspy_set_lna_agc", "airspy_set_mixer_agc",
                       "airspy_set_linearity_gain", "airspy_set_sensitivity_gain"}};
    return receiver;
}

} // namespace feedline::test
