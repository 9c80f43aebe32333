// SPDX-License-Identifier: MIT
// The JSON messages that the hub sends to a page (docs/web.md).
#pragma once

#include "tools/gains/AirspyGains.h"
#include "tools/hub/config/Configuration.h"
#include "tools/hub/listeners/Receiver.h"
#include "tools/hub/web/messages/Wishes.h"

#include <optional>
#include <string>
#include <vector>

namespace feedline::hub::web {

/// The first message: what there is to choose from.
std::string welcomeText();

/// The receiver as all pages see it.
struct Overview {
    ReceiverState state;
    ReceiverFigures figures;
    std::vector<ListenerReport> listeners;
    Tuning tuning = Tuning::first;
    std::optional<gains::Values> gains; ///< where there are any to steer
};

/// One page's own place in it.
struct Standing {
    std::uint64_t number = 0;  ///< of its listener
    bool maySteer = false;     ///< it has shown who it is, or needs not
    bool byToken = false;      ///< a token would let it
    std::string why;           ///< in words, when it may not
    std::uint64_t dropped = 0; ///< frames of its own that its connection had no room for
};

std::string stateText(const Overview& overview, const Standing& standing);

/// The answer to a ListenWish, with the values in force.
std::string listeningText(const ListenWish& listening, const TuneResult& result);

std::string pongText(double at);

/// The last message before the hub hangs up: why, in words.
std::string goodbyeText(const std::string& why);

} // namespace feedline::hub::web
