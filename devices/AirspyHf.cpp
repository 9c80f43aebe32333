// SPDX-License-Identifier: MIT
// The AirSpy HF+: the first one attached, at its first sample rate.

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

constexpr std::int32_t initialFrequency = 1600000; ///< hertz
/// The library takes a small value as an index into its list.
constexpr std::uint32_t firstRate = 0;

std::int32_t openFirst() {
    std::array<std::uint64_t, mostSerials> serials{};
    const int n = airspyhf_list_devices(serials.data(), mostSerials);
    logLine("n %d", n);
    if (n < 1)
        return deviceNotFound;
    logLine("%d %llu", 0, static_cast<unsigned long long>(serials[0]));
    airspyhf_device_t* device = hfDevice;
    const int r = airspyhf_open_sn(&device, serials[0]);
    hfDevice = device;
    logLine("err %d", r);
    return r != 0 ? deviceNotOpened : deviceReady;
}

std::int32_t readRates() {
    std::uint32_t count = 0;
    int r = airspyhf_get_samplerates(hfDevice, &count, 0);
    logLine("err %d  numSampleRates %d", r, static_cast<int>(count));
    if (r != 0)
        return rateCountNotRead;
    std::uint32_t* const rates = newRateList(count);
    r = airspyhf_get_samplerates(hfDevice, rates, count);
    if (r != 0)
        return rateListNotRead;
    logRates(rates, count);
    return deviceReady;
}

/// For the log only: no answer, or a wrong one, changes nothing.
void readIdentity() {
    std::int32_t ppb = 0;
    int r = airspyhf_get_calibration(hfDevice, &ppb);
    logLine("err %d  ppb %d", r, ppb);

    airspyhf_read_partid_serialno_t id{};
    r = airspyhf_board_partid_serialno_read(hfDevice, &id);
    logLine("err %d  airspyhf_board_partid_serialno_read %d %X %X %X %X", r,
            static_cast<int>(id.part_id), id.serial_no[0], id.serial_no[1], id.serial_no[2],
            id.serial_no[3]);

    VersionText version{};
    r = airspyhf_version_string_read(hfDevice, version.data(), version.size());
    version.back() = '\0';
    logLine("err %d  airspyhf_version_string_read %s", r, version.data());
}

} // namespace

std::int32_t AppDelegate::initAirspyHF() {
    logLine("initAirspy"); // The HF+'s opening line, whatever it says; the AirSpy has none.
    if (hfDevice != nullptr)
        airspyhf_close(hfDevice);
    if (const std::int32_t opened = openFirst(); opened != deviceReady)
        return opened;
    if (const std::int32_t read = readRates(); read != deviceReady)
        return read;
    readIdentity();
    const int r = airspyhf_set_samplerate(hfDevice, firstRate);
    logLine("airspyhf_set_samplerate err %d  ", r);
    if (r != 0)
        return deviceNotConfigured;
    return setAirSpyHFFrequency(initialFrequency);
}

std::int32_t AppDelegate::startAirSpyHF() {
    isStreaming = 1; // Says what was asked for, not what became of it.
    if (!makeSampleRing())
        return startFailed;
    populateSampleRing();
    const int r = vendor::airspyhfStart(hfDevice, airspyHfSampleCallback);
    logLine("airspyhf_start err %d  ", r); // One text for each start and stop of either receiver.
    return r != 0 ? startFailed : deviceReady;
}

std::int32_t AppDelegate::stopAirSpyHF() {
    isStreaming = 0;
    const int r = vendor::airspyhfStop(hfDevice);
    logLine("airspyhf_start err %d  ", r); // The start's text on purpose, see there.
    return r != 0 ? stopFailed : deviceReady;
}

std::int32_t AppDelegate::setAirSpyHFFrequency(std::int32_t frequency) {
    const int r = vendor::airspyhfSetFreq(hfDevice, static_cast<std::uint32_t>(frequency));
    logLine("airspyhf_set_freq err %d  ", r);
    centerFrequency = frequency;
    return r != 0 ? tuningFailed : deviceReady;
}

} // namespace feedline
