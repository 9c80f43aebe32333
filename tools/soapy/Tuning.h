// SPDX-License-Identifier: MIT
// From the frequency that a program asks for to the one that the receiver is tuned to.
#pragma once

#include "tools/client/Receivers.h"

#include <cstdint>
#include <vector>

namespace feedline::soapy {

/// receiver = (frequency + offset) x (1 + ppm / 1,000,000), in whole hertz. Not synchronised.
class Tuning {
public:
    Tuning(double offset, double ppm) : offset_(offset), ppm_(ppm) {}

    double ppm() const { return ppm_; }
    void setPpm(double ppm) { ppm_ = ppm; }

    struct Result {
        std::uint32_t receiver; ///< Hz
        double frequency;       ///< Hz, what the program gets: as asked, or the nearest there is
        bool clamped;
    };
    Result tune(const client::ReceiverKind& kind, double frequency) const;

    /// What a program may ask for, lowest first; never empty.
    std::vector<client::FrequencyRange> ranges(const client::ReceiverKind& kind) const;

    /// The frequency for the program when the receiver is at this one.
    double shown(std::uint32_t receiver) const;

private:
    double factor() const { return 1 + ppm_ * 1e-6; }

    double offset_; ///< Hz
    double ppm_;
};

} // namespace feedline::soapy
