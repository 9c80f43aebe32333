// SPDX-License-Identifier: MIT
// Stand-ins for libairspyhf and libairspy, linked in their place: every call is recorded and
// answers what the test laid down, also what the real libraries never would.
#pragma once

#include <libairspy/airspy.h>
#include <libairspyhf/airspyhf.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace feedline::test {

struct ScriptedVendors {
    // Calls so far: the function and its plain arguments, e.g. "airspyhf_set_freq 1600000". The
    // handle is left out where it is the open one, and shown as "other" where it is not.
    std::vector<std::string> calls;

    // Results by function name; 0 where nothing is laid down. The nth call (from 1) of a function
    // can be given a result of its own as "name#n".
    std::map<std::string, int> results;

    std::vector<std::uint64_t> hfSerials{0x1122334455667788};
    std::vector<std::uint64_t> airspySerials{0x8877665544332211};
    std::vector<std::uint32_t> hfRates{768000, 384000};
    std::vector<std::uint32_t> airspyRates{10000000, 2500000};
    std::int32_t calibration = -12;
    std::string hfVersion = "R3.0.7-CD";
    std::string airspyVersion = "AirSpy NOS v1.0.0-rc10";
    int airspyStreaming = 0;
    bool fillsVersionWhole =
        false; ///< version requests fill the buffer to its last byte, unterminated

    // Called with each call's text before its result is given, on the calling thread.
    std::function<void(const std::string& call)> onCall;

    airspyhf_sample_block_cb_fn hfCallback = nullptr; ///< as last given to start
    airspy_sample_block_cb_fn airspyCallback = nullptr;

    int count(const std::string& function) const; ///< calls of the function, whatever the arguments
};

/// The script in force; reset by `resetVendors`.
ScriptedVendors& vendors();
void resetVendors();

/// The handles that open gives: never dereferenced.
airspyhf_device_t* hfHandle();
airspy_device* airspyHandle();

} // namespace feedline::test
