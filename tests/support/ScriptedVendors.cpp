// SPDX-License-Identifier: MIT
#include "ScriptedVendors.h"

#include <algorithm>
#include <cstring>

namespace feedline::test {
namespace {

ScriptedVendors script;
std::map<std::string, int> callCounts;
int hfObject;
int airspyObject;

/// The result of a function's nth call, where it has one of its own. Its key "name#n" stands right
/// behind "name", so that most calls need not make one.
const int* resultOfCall(const std::string& function, int n) {
    const auto next = script.results.upper_bound(function);
    if (next == script.results.end() || !next->first.starts_with(function) ||
        next->first[function.size()] != '#')
        return nullptr;
    const auto nth = script.results.find(function + "#" + std::to_string(n));
    return nth != script.results.end() ? &nth->second : nullptr;
}

int answer(const std::string& function, const std::string& arguments = "") {
    const std::string call = function + (arguments.empty() ? "" : " " + arguments);
    script.calls.push_back(call);
    if (script.onCall)
        script.onCall(call);
    if (const int* const own = resultOfCall(function, ++callCounts[function]))
        return *own;
    const auto found = script.results.find(function);
    return found != script.results.end() ? found->second : 0;
}

std::string hf(const airspyhf_device_t* device, const std::string& arguments = "") {
    return (device == hfHandle() ? "" : "other ") + arguments;
}

std::string spy(const airspy_device* device, const std::string& arguments = "") {
    return (device == airspyHandle() ? "" : "other ") + arguments;
}

int list(const char* function, const std::vector<std::uint64_t>& attached, std::uint64_t* serials,
         int count) {
    const int listed = std::min(count, static_cast<int>(attached.size()));
    std::copy_n(attached.begin(), listed, serials);
    const int scripted = answer(function, std::to_string(count));
    return scripted != 0 ? scripted : listed;
}

/// As the libraries do: asked with length 0, the first word receives the count.
int rates(const char* function, const std::string& handle, const std::vector<std::uint32_t>& list,
          std::uint32_t* buffer, std::uint32_t length) {
    if (length == 0)
        *buffer = static_cast<std::uint32_t>(list.size());
    else
        std::copy_n(list.begin(), std::min<std::size_t>(length, list.size()), buffer);
    return answer(function, handle + std::to_string(length));
}

int version(const char* function, const std::string& handle, const std::string& text, char* buffer,
            std::uint8_t length) {
    const int result = answer(function, handle + std::to_string(length));
    if (result != 0)
        return result;
    if (script.fillsVersionWhole)
        std::memset(buffer, 'V', length);
    else
        std::strncpy(buffer, text.c_str(), length - 1U);
    return 0;
}

} // namespace

int ScriptedVendors::count(const std::string& function) const {
    return static_cast<int>(std::count_if(calls.begin(), calls.end(), [&](const std::string& call) {
        return call.substr(0, call.find(' ')) == function;
    }));
}

ScriptedVendors& vendors() {
    return script;
}

void resetVendors() {
    script = ScriptedVendors{};
    callCounts.clear();
}

airspyhf_device_t* hfHandle() {
    return reinterpret_cast<airspyhf_device_t*>(&hfObject);
}
airspy_device* airspyHandle() {
    return reinterpret_cast<airspy_device*>(&airspyObject);
}

} // namespace feedline::test

using namespace feedline::test;

extern "C" {

int airspyhf_list_devices(uint64_t* serials, int count) {
    return list("airspyhf_list_devices", vendors().hfSerials, serials, count);
}

int airspyhf_open_sn(airspyhf_device_t** device, uint64_t serial) {
    const int result = answer("airspyhf_open_sn", std::to_string(serial));
    *device = result == 0 ? hfHandle() : nullptr;
    return result;
}

int airspyhf_close(airspyhf_device_t* device) {
    return answer("airspyhf_close", hf(device));
}

int airspyhf_start(airspyhf_device_t* device, airspyhf_sample_block_cb_fn callback, void*) {
    vendors().hfCallback = callback;
    return answer("airspyhf_start", hf(device));
}

int airspyhf_stop(airspyhf_device_t* device) {
    return answer("airspyhf_stop", hf(device));
}

int airspyhf_set_freq(airspyhf_device_t* device, const uint32_t hertz) {
    return answer("airspyhf_set_freq", hf(device, std::to_string(hertz)));
}

int airspyhf_get_samplerates(airspyhf_device_t* device, uint32_t* buffer, const uint32_t length) {
    return rates("airspyhf_get_samplerates", hf(device), vendors().hfRates, buffer, length);
}

int airspyhf_set_samplerate(airspyhf_device_t* device, uint32_t rate) {
    return answer("airspyhf_set_samplerate", hf(device, std::to_string(rate)));
}

int airspyhf_get_calibration(airspyhf_device_t* device, int32_t* ppb) {
    *ppb = vendors().calibration;
    return answer("airspyhf_get_calibration", hf(device));
}

int airspyhf_board_partid_serialno_read(airspyhf_device_t* device,
                                        airspyhf_read_partid_serialno_t* id) {
    *id = {7, {0xA1, 0xB2, 0xC3, 0xD4}};
    return answer("airspyhf_board_partid_serialno_read", hf(device));
}

int airspyhf_version_string_read(airspyhf_device_t* device, char* text, uint8_t length) {
    return version("airspyhf_version_string_read", hf(device), vendors().hfVersion, text, length);
}

int airspy_list_devices(uint64_t* serials, int count) {
    return list("airspy_list_devices", vendors().airspySerials, serials, count);
}

int airspy_open(airspy_device** device) {
    const int result = answer("airspy_open");
    *device = result == 0 ? airspyHandle() : nullptr;
    return result;
}

int airspy_close(airspy_device* device) {
    return answer("airspy_close", spy(device));
}

int airspy_set_sample_type(airspy_device* device, enum airspy_sample_type type) {
    return answer("airspy_set_sample_type", spy(device, std::to_string(type)));
}

int airspy_get_samplerates(airspy_device* device, uint32_t* buffer, const uint32_t length) {
    return rates("airspy_get_samplerates", spy(device), vendors().airspyRates, buffer, length);
}

int airspy_set_samplerate(airspy_device* device, uint32_t rate) {
    return answer("airspy_set_samplerate", spy(device, std::to_string(rate)));
}

int airspy_board_partid_serialno_read(airspy_device* device, airspy_read_partid_serialno_t* id) {
    *id = {{7, 8}, {0xA1, 0xB2, 0xC3, 0xD4}};
    return answer("airspy_board_partid_serialno_read", spy(device));
}

int airspy_version_string_read(airspy_device* device, char* text, uint8_t length) {
    return version("airspy_version_string_read", spy(device), vendors().airspyVersion, text,
                   length);
}

int airspy_start_rx(airspy_device* device, airspy_sample_block_cb_fn callback, void*) {
    vendors().airspyCallback = callback;
    return answer("airspy_start_rx", spy(device));
}

int airspy_stop_rx(airspy_device* device) {
    return answer("airspy_stop_rx", spy(device));
}

int airspy_is_streaming(airspy_device* device) {
    answer("airspy_is_streaming", spy(device));
    return vendors().airspyStreaming;
}

int airspy_set_freq(airspy_device* device, const uint32_t hertz) {
    return answer("airspy_set_freq", spy(device, std::to_string(hertz)));
}

#define FEEDLINE_SCRIPTED_BYTE_SETTER(name)                                                        \
    int name(airspy_device* device, uint8_t value) {                                               \
        return answer(#name, spy(device, std::to_string(value)));                                  \
    }
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_lna_gain)
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_mixer_gain)
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_vga_gain)
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_lna_agc)
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_mixer_agc)
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_linearity_gain)
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_sensitivity_gain)
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_rf_bias)
FEEDLINE_SCRIPTED_BYTE_SETTER(airspy_set_packing)
#undef FEEDLINE_SCRIPTED_BYTE_SETTER

} // extern "C"
