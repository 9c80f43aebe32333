// Takes the datagrams off the network, as fast as they come and whatever the rest of the program
// is busy with.
#pragma once

#include "probe/Batch.h"
#include "probe/BatchQueue.h"
#include "probe/RateMeter.h"
#include "probe/SequenceTracker.h"
#include "probe/UniqueFd.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace feedline::probe {

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
    int grantedBuffer() const { return m_granted; }

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

    UniqueFd m_socket;
    UniqueFd m_stop;
    int m_granted = 0;
    std::vector<BatchQueue*> m_queues;
    std::thread m_thread;
    SequenceTracker m_tracker; ///< of the receive thread, like the next three
    RateMeter m_rate;
    std::uint64_t m_malformed = 0;
    std::uint32_t m_overflowed = 0;
    mutable std::mutex m_mutex; ///< guards the figures
    ReceptionFigures m_figures;
};

} // namespace feedline::probe
