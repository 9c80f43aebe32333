// SPDX-License-Identifier: MIT
// The AirSpy HF+ as its firmware answers.
#pragma once

#include "emulator/receivers/Receiver.h"

#include <array>
#include <memory>

namespace feedline::emulator {

struct HfRate {
    std::uint32_t rate = 0; ///< pairs a second
    bool lowIf = false;
};

class HfReceiver final : public Receiver {
public:
    /// `number` counts the receivers of this kind from 0; it makes serials and noise different.
    HfReceiver(unsigned number, std::vector<HfRate> rates, const Content& content);

    StreamSettings settings() const override;
    State state() const override;
    void powerUp() override;

private:
    int take(const Request& request) override;
    int tell(const Request& request) override;
    int selectRate(unsigned index);
    int setOutput(unsigned pin, unsigned value);
    int giveArchitectures(const Request& request) const;
    View view() const;
    unsigned attenuation() const;

    std::vector<HfRate> rates_;
    const Content& content_;
    std::array<std::uint8_t, 256> flash_;

    std::uint32_t kilohertz_ = 0;
    unsigned rateIndex_ = 0;
    bool agc_ = true;
    bool agcThreshold_ = false;
    unsigned attenuator_ = 0; ///< steps of 6 dB
    bool lna_ = false;
    std::array<bool, 4> outputs_{};
};

} // namespace feedline::emulator
