// SPDX-License-Identifier: MIT
// The AirSpy: the first free one, at its second sample rate, delivering 16-bit IQ pairs.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "devices/RateLists.h"
#include "devices/VendorLibraries.h"
#include "platform/Log.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <array>

namespace feedline {
namespace {

/// The library takes a small value as an index into its list.
constexpr std::uint32_t secondRate = 1;

std::int32_t openFirst() {
    std::array<std::uint64_t, mostSerials> serials{};
    const int n = airspy_list_devices(serials.data(), mostSerials);
    logLine("n %d", n);
    if (n < 1)
        return deviceNotFound;
    logLine("%d %llu", 0, static_cast<unsigned long long>(serials[0]));
    airspy_device* device = airspyDevice;
    // The first free one, whichever serial number was listed first.
    const int r = airspy_open(&device);
    airspyDevice = device;
    logLine("err %d", r);
    return r != 0 ? deviceNotOpened : deviceReady;
}

std::int32_t readRates() {
    std::uint32_t count = 0;
    int r = airspy_get_samplerates(airspyDevice, &count, 0);
    logLine("err %d  numSampleRates %d", r, static_cast<int>(count));
    if (r != 0)
        return rateCountNotRead;
    std::uint32_t* const rates = newRateList(count);
    r = airspy_get_samplerates(airspyDevice, rates, count);
    if (r != 0)
        return rateListNotRead;
    logRates(rates, count);
    return deviceReady;
}

/// For the log only: no answer, or a wrong one, changes nothing.
void readIdentity() {
    airspy_read_partid_serialno_t id{};
    int r = airspy_board_partid_serialno_read(airspyDevice, &id);
    logLine("err %d  airspy_board_partid_serialno_read %d %d %X %X %X %X", r,
            static_cast<int>(id.part_id[0]), static_cast<int>(id.part_id[1]), id.serial_no[0],
            id.serial_no[1], id.serial_no[2], id.serial_no[3]);

    VersionText version{};
    r = airspy_version_string_read(airspyDevice, version.data(), version.size());
    version.back() = '\0';
    logLine("err %d  airspy_version_string_read %s", r, version.data());
}

} // namespace

std::int32_t AppDelegate::initAirspy() {
    if (airspyDevice != nullptr)
        airspy_close(airspyDevice);
    if (const std::int32_t opened = openFirst(); opened != deviceReady)
        return opened;
    // Before the rates are asked for: the library gives those of the sample type in force.
    int r = airspy_set_sample_type(airspyDevice, AIRSPY_SAMPLE_INT16_IQ);
    logLine("airspy_set_sample_type err %d  ", r);
    if (const std::int32_t read = readRates(); read != deviceReady)
        return read;
    // A receiver with a single rate refuses this and stays at its own; it still serves.
    r = airspy_set_samplerate(airspyDevice, secondRate);
    logLine("airspy_set_samplerate err %d  ", r);
    readIdentity();
    r = airspy_set_packing(airspyDevice, 0);
    logLine("airspy_set_packing err %d  ", r);
    r = airspy_set_rf_bias(airspyDevice, 0);
    logLine("airspy_set_rf_bias err %d  ", r);
    return r != 0 ? deviceNotConfigured : deviceReady;
}

std::int32_t AppDelegate::startAirSpy() {
    isStreaming = 1;       // Says what was asked for, not what became of it.
    if (!makeSampleRing()) // Not used by this receiver, but there from the first start of any.
        return startFailed;
    const int r = vendor::airspyStartRx(airspyDevice, airspySampleCallback);
    logLine("airspyhf_start err %d  ", r); // One text for each start and stop of either receiver.
    return r != 0 ? startFailed : deviceReady;
}

std::int32_t AppDelegate::stopAirSpy() {
    isStreaming = 0;
    const int r = vendor::airspyStopRx(airspyDevice);
    logLine("airspyhf_start err %d  ", r); // The start's text on purpose, see there.
    return r != 0 ? stopFailed : deviceReady;
}

std::int32_t AppDelegate::setAirSpyFrequency(std::int32_t frequency) {
    const int r = vendor::airspySetFreq(airspyDevice, static_cast<std::uint32_t>(frequency));
    logLine("airspy_set_freq err %d  ", r);
    centerFrequency = frequency;
    return r != 0 ? tuningFailed : deviceReady;
}

void AppDelegate::logAirspyStream() {
    airspy_device* const device = airspyDevice;
    if (device == nullptr)
        return;
    const int streaming = airspy_is_streaming(device); // The library's answer, not `isStreaming`.
    logLine("iStreaming %d  samples: %d", streaming, samplesStreamed.load());
    samplesStreamed = 0;
}

} // namespace feedline
