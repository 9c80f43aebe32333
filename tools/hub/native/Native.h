// SPDX-License-Identifier: MIT
// The native output: the server's own protocol for any number of clients.
#pragma once

#include "tools/hub/output/Output.h"

#include <memory>

namespace feedline::hub {

/// An OutputFactory. Every client has its own run and stop, frequency and rate, and gets its
/// datagrams at the address that it connects from, on the native port's number.
std::unique_ptr<Output> openNative(const Configuration& configuration, Receiver& receiver);

} // namespace feedline::hub
