// SPDX-License-Identifier: MIT
// The UDP socket through which one client gets its samples.
#pragma once

#include "tools/client/UniqueFd.h"

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <span>
#include <string>

namespace feedline::hub {

/// Never waits. For one thread.
class SegmentedSocket {
public:
    /// From the dotted IPv4 address `local`, since clients expect their samples from the machine
    /// that they are connected to. Throws std::system_error.
    SegmentedSocket(const std::string& local, const std::string& peer, std::uint16_t peerPort);

    /// Sends datagrams that lie back to back: by one call of the system for many where the kernel
    /// cuts them apart itself (segmentation offload), one by one otherwise. The number that left;
    /// the rest found no room in the system's buffers.
    std::size_t send(std::span<const std::uint8_t> datagrams);

private:
    std::size_t sendSegmented(std::span<const std::uint8_t> datagrams);
    std::size_t sendSingly(std::span<const std::uint8_t> datagrams) const;

    client::UniqueFd socket_;
    sockaddr_in peer_{};
    bool segments_ = true; ///< the kernel has not refused to yet
};

} // namespace feedline::hub
