// Takes the datagrams off the network, as fast as they come and whatever the rest of the program
// is busy with.
#pragma once

#include "tools/client/Batch.h"
#include "tools/client/BatchQueue.h"
#include "tools/client/RateMeter.h"
#include "tools/client/SequenceTracker.h"
#include "tools/client/UniqueFd.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace feedline::client {

struct ReceptionFigures {
    SequenceCounts counts;
    std::uint64_t malformed = 0;   ///< datagrams of another length or with another header
    std::uint64_t overflowed = 0;  ///< datagrams that this machine's receive buffer had no room for
    double currentRate = 0;        ///< IQ pairs a second, 0 when unknown
    double overallRate = 0;        ///< IQ pairs a second, 0 when unknown
    std::int64_t firstArrival = 0; ///< ns since 1970, 0 before the first datagram
};

class DatagramReceiver {
public:
    static constexpr int wantedBuffer = 16 << 20; ///< bytes

    /// Binds the port; throws Failure.
    DatagramReceiver(const std::string& address, std::uint16_t port);
    /// Stops.
    ~DatagramReceiver();

    /// Bytes of receive buffer that the system granted, as it counts them: more than a datagram's
    /// own 1028 for each that waits.
    int grantedBuffer() const { return granted_; }

    /// Starts the receive thread. Each datagram goes to every queue; the queues are closed when the
    /// reception ends, and must outlive this object.
    void start(std::vector<BatchQueue*> queues);
    /// Ends the reception with what has arrived by now, and waits for the thread.
    void stop();

    /// Any thread.
    ReceptionFigures figures() const;

private:
    class Intake;
    void run();
    bool waitForDatagrams() const;
    Batch collect(Intake& intake);
    void publish(const Batch& batch);
    void handOver(Batch batch);

    UniqueFd socket_;
    UniqueFd stop_;
    int granted_ = 0;
    std::vector<BatchQueue*> queues_;
    std::thread thread_;
    SequenceTracker tracker_; ///< of the receive thread, like the next three
    RateMeter rate_;
    std::uint64_t malformed_ = 0;
    std::uint32_t overflowed_ = 0;
    mutable std::mutex mutex_; ///< guards the figures
    ReceptionFigures figures_;
};

} // namespace feedline::client
