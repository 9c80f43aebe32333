// SPDX-License-Identifier: MIT
// The AirSpy as its firmware answers.
#pragma once

#include "emulator/receivers/Receiver.h"

#include <array>
#include <map>

namespace feedline::emulator {

/// Steps of the three gain stages.
struct AirspyGains {
    unsigned lna = 8;
    unsigned mixer = 8;
    unsigned vga = 8;

    static constexpr unsigned mostLna = 14;
    static constexpr unsigned mostMixer = 15;
    static constexpr unsigned mostVga = 15;

    /// Against all stages at 8, where a scene's levels hold.
    double decibel() const;
};

class AirspyReceiver final : public Receiver {
public:
    /// `number` counts the receivers of this kind from 0; `rates` are those of the IQ pairs.
    AirspyReceiver(unsigned number, std::vector<std::uint32_t> rates, const Content& content);

    int answer(const Request& request) override;
    StreamSettings settings() const override;
    State state() const override;
    void powerUp() override;

private:
    using Registers = std::array<std::uint8_t, 256>;

    int take(const Request& request) override;
    int tell(const Request& request) override;
    int tellSetting(const Request& request);
    int selectRate(const Request& request);
    int flashRequest(const Request& request);
    int setGain(const Request& request, unsigned& stage, unsigned most);
    AirspyGains gains() const;
    View view() const;
    std::uint32_t rate() const;

    std::vector<std::uint32_t> rates_;
    const Content& content_;
    std::vector<std::uint8_t> flash_;

    std::uint32_t hertz_ = 0;
    unsigned rateIndex_ = 0;
    bool packing_ = false;
    AirspyGains set_; ///< as asked for; an AGC overrides its stage
    bool lnaAgc_ = false;
    bool mixerAgc_ = false;
    Registers clock_{};
    Registers tuner_{};
    Registers pins_{};
    Registers directions_{};
};

} // namespace feedline::emulator
