// SPDX-License-Identifier: MIT
// What all connections of the web output share.
#pragma once

#include "tools/gains/AirspyGains.h"
#include "tools/hub/config/Configuration.h"
#include "tools/hub/listeners/Receiver.h"
#include "tools/hub/web/safety/Access.h"
#include "tools/hub/web/safety/Places.h"
#include "tools/hub/web/server/BandWatch.h"
#include "tools/hub/web/server/Visits.h"

#include <boost/asio/io_context.hpp>
#include <memory>

namespace feedline::hub::web {

/// Connections beyond those that listen: what browsers fetch the page with, and who asks for
/// status.
constexpr std::size_t spareConnections = 100;
constexpr std::size_t sparePerAddress = 20;

/// Ends before the connections do: none of them touches it while it is destroyed.
struct Service {
    Service(boost::asio::io_context& context, const Configuration& chosen, Receiver& shared)
        : configuration(chosen), receiver(shared), access(chosen),
          connections(chosen.listeners + spareConnections, chosen.perAddress + sparePerAddress),
          visits(context, shared, chosen.tuning, [this] { return gains.values(); }),
          gains(chosen.serverHost, chosen.serverPort, [this] { visits.tellSoon(); }),
          watch(std::make_shared<BandWatch>(context, shared, visits)) {}

    const Configuration& configuration;
    Receiver& receiver;
    Access access;
    Places connections;
    Visits visits;
    gains::AirspyGains gains;
    std::shared_ptr<BandWatch> watch;
};

} // namespace feedline::hub::web
