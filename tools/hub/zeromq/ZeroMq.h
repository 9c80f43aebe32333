// SPDX-License-Identifier: MIT
// The ZeroMQ output: three publishing sockets, for flowgraphs and proxies on any machine.
#pragma once

#include "tools/hub/output/Output.h"

#include <memory>

namespace feedline::hub {

/// An OutputFactory. On the configured port the whole band as fc32 (two 32-bit floats an IQ pair,
/// full scale +-1.0), on the next as sc16 (two 16-bit integers), bit for bit as received, and on
/// the one after that the receiver's state as JSON. Messages are whole items without a header, in
/// host byte order as flowgraphs expect them. The receiver runs while anybody subscribes to
/// samples.
std::unique_ptr<Output> openZeroMq(const Configuration& configuration, Receiver& receiver);

} // namespace feedline::hub
