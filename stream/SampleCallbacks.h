// SPDX-License-Identifier: MIT
// What the vendor libraries call with every block of samples, each on a thread of its own, one
// block at a time. Both return 0 always: anything else would make the library stop the stream.
#pragma once

#include <libairspy/airspy.h>
#include <libairspyhf/airspyhf.h>

namespace feedline {

/// Converts the block's float pairs (`sample_count` of them) to 16 bits and puts them into the
/// sample ring, which must exist. Never waits, allocates or enters the kernel.
int airspyHfSampleCallback(airspyhf_transfer_t* transfer);

/// Sends the block's 16-bit IQ pairs (`sample_count` of them, host order) as datagrams, 256 pairs
/// each, at once and back to back; what is left over is dropped. Allocates nothing.
int airspySampleCallback(airspy_transfer_t* transfer);

} // namespace feedline
