// SPDX-License-Identifier: MIT
// The AirSpy's gains. What the controls show and what the receiver does may differ: a preset
// overrides stages and AGCs inside the receiver, and nothing is sent to one that has just been
// opened.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "platform/Log.h"

#include <libairspy/airspy.h>

#include <array>
#include <cstddef>

namespace feedline {
namespace {

using SetGain = int (*)(airspy_device*, std::uint8_t);

/// The library takes the low 8 bits of a control's value and clamps them to its own range.
int send(SetGain set, std::int32_t value) {
    return set(airspyDevice, static_cast<std::uint8_t>(value));
}

} // namespace

void AppDelegate::changedGain(const ValueControl* sender) {
    struct Gain {
        const ValueControl* control;
        SetGain set;
    };
    const std::array<Gain, 7> gains{{{lnaAgcButton, airspy_set_lna_agc},
                                     {mixerAgcButton, airspy_set_mixer_agc},
                                     {lnaGainSlider, airspy_set_lna_gain},
                                     {mixerGainSlider, airspy_set_mixer_gain},
                                     {vgaGainSlider, airspy_set_vga_gain},
                                     {linearitySlider, airspy_set_linearity_gain},
                                     {sensitivitySlider, airspy_set_sensitivity_gain}}};
    std::array<std::int32_t, 7> values{};
    for (std::size_t i = 0; i < gains.size(); ++i)
        values.at(i) = gains.at(i).control->intValue();
    if (airspyDevice == nullptr)
        return;
    for (std::size_t i = 0; i < gains.size(); ++i)
        if (sender == gains.at(i).control)
            send(gains.at(i).set, values.at(i));
    logLine("changedGain %d %d %d %d %d %d %d", values[0], values[1], values[2], values[3],
            values[4], values[5], values[6]);
}

void AppDelegate::setGainsLnaAgc(std::int32_t lnaAgc, std::int32_t mixerAgc, std::int32_t lnaGain,
                                 std::int32_t mixerGain, std::int32_t vgaGain,
                                 std::int32_t linearityGain, std::int32_t sensitivityGain) {
    struct Step {
        SetGain set;
        std::int32_t value;
        const char* failure;
    };
    const std::array<Step, 7> steps{
        {{airspy_set_lna_gain, lnaGain, "airspy_set_lna_gain error"},
         {airspy_set_mixer_gain, mixerGain, "airspy_set_mixer_gain error"},
         {airspy_set_vga_gain, vgaGain, "airspy_set_vga_gain error"},
         {airspy_set_lna_agc, lnaAgc, "airspy_set_lna_agc error"},
         {airspy_set_mixer_agc, mixerAgc, "airspy_set_mixer_agc error"},
         {airspy_set_linearity_gain, linearityGain, "airspy_set_linearity_gain error"},
         {airspy_set_sensitivity_gain, sensitivityGain, "airspy_set_sensitivity_gain error"}}};
    if (airspyDevice == nullptr)
        return;
    for (const Step& step : steps)
        if (send(step.set, step.value) != 0)
            logLine("%s", step.failure);
}

} // namespace feedline
