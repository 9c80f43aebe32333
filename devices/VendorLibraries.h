// SPDX-License-Identifier: MIT
// The thin boundary between the back-ends and the vendor libraries: one inline function per
// library call that could meet a receiver that is not open.
//
// The libraries dereference a null handle. The back-ends pass theirs as they stand (the pop-up can
// name a kind of receiver that was never opened), and this boundary answers a null one with the
// library's own error code, as a library that checked its arguments would.
#pragma once

#include <libairspy/airspy.h>
#include <libairspyhf/airspyhf.h>

#include <cstdint>

namespace feedline::vendor {

inline int airspyhfStart(airspyhf_device_t* device, airspyhf_sample_block_cb_fn callback) {
    return device == nullptr ? AIRSPYHF_ERROR : airspyhf_start(device, callback, nullptr);
}
inline int airspyhfStop(airspyhf_device_t* device) {
    return device == nullptr ? AIRSPYHF_ERROR : airspyhf_stop(device);
}
inline int airspyhfSetFreq(airspyhf_device_t* device, std::uint32_t hertz) {
    return device == nullptr ? AIRSPYHF_ERROR : airspyhf_set_freq(device, hertz);
}

inline int airspyStartRx(airspy_device* device, airspy_sample_block_cb_fn callback) {
    return device == nullptr ? AIRSPY_ERROR_INVALID_PARAM
                             : airspy_start_rx(device, callback, nullptr);
}
inline int airspyStopRx(airspy_device* device) {
    return device == nullptr ? AIRSPY_ERROR_INVALID_PARAM : airspy_stop_rx(device);
}
inline int airspySetFreq(airspy_device* device, std::uint32_t hertz) {
    return device == nullptr ? AIRSPY_ERROR_INVALID_PARAM : airspy_set_freq(device, hertz);
}

} // namespace feedline::vendor
