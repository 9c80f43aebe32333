// SPDX-License-Identifier: MIT
// What a client knows of the receiver behind a server, from the name that the server tells.
#pragma once

#include <span>
#include <string_view>

namespace feedline::client {

struct FrequencyRange {
    double lowest;  ///< Hz
    double highest; ///< Hz
};

struct ReceiverKind {
    std::string_view name;
    double usualRate;                        ///< IQ pairs a second
    std::span<const double> rates;           ///< all that receivers of the kind have, highest first
    std::span<const FrequencyRange> tunable; ///< lowest first, without overlap
};

/// By target name; a name that is not known is taken for either kind: both ranges, an HF+'s usual
/// rate. The result lives for ever. Any thread.
const ReceiverKind& receiverKind(std::string_view targetName);

/// The nearest rate that receivers of the kind have, when it is within 1 % of the measured one;
/// otherwise the measured one in whole hertz.
double nearestRate(const ReceiverKind& kind, double measured);

} // namespace feedline::client
