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

    const Identity& identity() const override { return self; }
    int answer(const Request& request) override;
    bool streaming() const override { return mode; }
    StreamSettings settings() const override;
    State state() const override;
    void powerUp() override;

private:
    int take(const Request& request);
    int tell(const Request& request);
    int selectRate(unsigned index);
    int setOutput(unsigned pin, unsigned value);
    int giveArchitectures(const Request& request) const;
    View view() const;
    unsigned attenuation() const;

    unsigned number;
    Identity self;
    std::uint64_t serial;
    std::vector<HfRate> rates;
    const Content& content;
    std::array<std::uint8_t, 256> flash;

    bool mode = false;
    std::uint32_t kilohertz = 0;
    unsigned rateIndex = 0;
    bool agc = true;
    bool agcThreshold = false;
    unsigned attenuator = 0; ///< steps of 6 dB
    bool lna = false;
    std::array<bool, 4> outputs{};
};

} // namespace feedline::emulator
