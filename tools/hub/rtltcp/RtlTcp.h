// SPDX-License-Identifier: MIT
// The rtl_tcp output: 8-bit samples over TCP, at rates from 225,001 to 3,200,000.
#pragma once

#include "tools/hub/output/Output.h"

#include <memory>

namespace feedline::hub {

/// An OutputFactory.
std::unique_ptr<Output> openRtlTcp(const Configuration& configuration, Receiver& receiver);

} // namespace feedline::hub
