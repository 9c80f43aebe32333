// SPDX-License-Identifier: MIT
// The receive thread for users that keep the datagrams: it takes them off the network as fast as
// they come, whatever the rest of the program is busy with.
#pragma once

#include "tools/client/Batch.h"
#include "tools/client/BatchQueue.h"
#include "tools/client/DatagramSocket.h"
#include "tools/client/Reception.h"
#include "tools/client/UniqueFd.h"

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace feedline::client {

class DatagramReceiver {
public:
    static constexpr int wantedBuffer = DatagramSocket::usualBuffer; ///< bytes

    /// Binds the port; throws Failure.
    DatagramReceiver(const std::string& address, std::uint16_t port);
    /// Stops.
    ~DatagramReceiver();

    /// As DatagramSocket::grantedBuffer().
    int grantedBuffer() const { return socket_.grantedBuffer(); }

    /// Starts the receive thread. Each datagram goes to every queue; the queues are closed when the
    /// reception ends, and must outlive this object.
    void start(std::vector<BatchQueue*> queues);
    /// Ends the reception with what has arrived by now, and waits for the thread.
    void stop();

    /// Any thread.
    ReceptionFigures figures() const { return reception_.figures(); }

private:
    void run();
    bool waitForDatagrams() const;
    void handOver(const DatagramBlock& block, const std::vector<Verdict>& verdicts);

    DatagramSocket socket_;
    UniqueFd stop_;
    std::vector<BatchQueue*> queues_;
    std::thread thread_;
    Reception reception_;
};

} // namespace feedline::client
