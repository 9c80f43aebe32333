// SPDX-License-Identifier: MIT
// The device's one stream.
#pragma once

#include "tools/client/RateFinder.h"
#include "tools/client/StreamReceiver.h"
#include "tools/soapy/Arguments.h"
#include "tools/soapy/Formats.h"
#include "tools/soapy/LossMeter.h"
#include "tools/soapy/SampleQueue.h"
#include "tools/soapy/ServerLink.h"
#include "tools/soapy/StreamTimes.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace feedline::soapy {

/// open(), close(), activate() and deactivate(): one at a time, any thread. read(), acquire() and
/// release(): one thread, which may be another one. The results are SoapySDR's: a count of IQ pairs
/// or one of its negative errors. Nothing throws.
class RxStream : private client::StreamSink {
public:
    RxStream(ServerLink& link, const Arguments& arguments);
    ~RxStream() override;

    /// False, with one line in the log, for a format that there is none of and while it is open.
    bool open(const std::string& format);
    void close();

    /// Runs the receiver. Unless the rate is told, it is measured first, which takes half a second
    /// of steady flow.
    int activate();
    /// Stops the receiver and wakes the reader.
    int deactivate();

    /// Pairs that one call gives at most; settled when the stream is opened, so that a program that
    /// has made room can rely on it.
    std::size_t mtu() const { return mtu_; }
    bool isNative() const { return format_ == Format::cs16; }

    /// Waits until `count` pairs (mtu() at most) have come, or a loss, or the time is over.
    int read(void* to, std::size_t count, int& flags, long long& nanoseconds, long timeout);
    /// The same without a copy: mtu() pairs at most. Only of a native stream.
    int acquire(std::size_t& handle, const void** samples, int& flags, long long& nanoseconds,
                long timeout);
    void release(std::size_t handle) { queue_.release(handle); }

    struct Figures {
        std::uint64_t lost = 0;           ///< datagrams that the network or this machine lost
        std::uint64_t lostLastSecond = 0; ///< of them
        std::uint64_t dropped = 0;        ///< datagrams that the program was too slow to read
    };
    /// Since the device was made. Any thread.
    Figures figures();

    /// The server is there again: its receiver may be another one. The connection's thread.
    void reconnected();

private:
    void samples(std::int64_t position, std::int64_t nanoseconds,
                 std::span<const std::int16_t> samples) override;
    void gap(std::int64_t from, std::int64_t to) override;
    void restart(std::int64_t position) override;

    bool begin(bool measure);
    bool startReceiver();
    void end();
    void awaitRate();
    void findRate(std::int64_t position, std::int64_t nanoseconds);
    void watchBacklog(std::int64_t nanoseconds, std::size_t datagrams);
    int outcome(const SampleQueue::Piece& piece, int& flags, long long& nanoseconds) const;

    ServerLink& link_;
    const Arguments arguments_;
    SampleQueue queue_;
    LossMeter recent_;

    bool isOpen_ = false;
    bool active_ = false;
    Format format_ = Format::cs16;
    std::size_t mtu_;

    std::mutex
        mutex_; ///< guards what the receive thread and activate() share, down to the receiver
    std::condition_variable rateFound_;
    std::optional<client::RateFinder> finder_; ///< unless the rate is told
    bool measuringFirst_ = false;              ///< samples are left out until the rate is known
    StreamTimes times_;
    StreamTimes timesBeforeHold_;
    bool watching_ = false; ///< for a backlog
    std::int64_t watchSince_ = 0;
    std::size_t watched_ = 0;
    bool hasBacklog_ = false; ///< the other end may send one
    std::uint64_t lost_ = 0;

    std::unique_ptr<client::StreamReceiver> receiver_; ///< while active
};

} // namespace feedline::soapy
