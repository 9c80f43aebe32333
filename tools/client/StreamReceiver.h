// SPDX-License-Identifier: MIT
// The receive thread for users that take samples as they come.
#pragma once

#include "tools/client/DatagramSocket.h"
#include "tools/client/Reception.h"
#include "tools/client/StreamOrder.h"
#include "tools/client/UniqueFd.h"

#include <atomic>
#include <cstdint>
#include <thread>

namespace feedline::client {

/// Receives on a thread of its own from construction on and passes the stream on in order. The sink
/// is called on that thread and must return soon: what comes meanwhile waits in the receive buffer.
class StreamReceiver {
public:
    /// The sink must outlive this object.
    StreamReceiver(DatagramSocket socket, StreamSink& sink);
    /// Passes on what has arrived by now, and waits for the thread.
    ~StreamReceiver();
    StreamReceiver(const StreamReceiver&) = delete;
    StreamReceiver& operator=(const StreamReceiver&) = delete;

    int grantedBuffer() const { return granted_; }
    /// Any thread.
    ReceptionFigures figures() const { return reception_.figures(); }
    /// Datagrams so far, duplicates included. Any thread; costs nothing.
    std::uint64_t received() const { return received_.load(std::memory_order_relaxed); }

private:
    void run();
    bool waitForDatagrams() const;

    DatagramSocket socket_;
    UniqueFd stop_;
    int granted_;
    Reception reception_;
    StreamOrder order_;
    std::atomic<std::uint64_t> received_{0};
    std::thread thread_;
};

} // namespace feedline::client
