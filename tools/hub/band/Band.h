// SPDX-License-Identifier: MIT
// The received band: one writer, and everything that listeners read.
//
// The flow is one way. The band's thread (upstream's) writes; it puts blocks into the shared ring
// and, while at least one channel is to be cut, the transform of each 25 ms into a second ring.
// Then it calls whoever waits. Readers take from both rings at their own pace, on their own
// threads, and can hold up neither the writer nor each other: the rings keep about half a second,
// and who stays away longer loses what has gone, counted in the channel.
#pragma once

#include "tools/hub/band/Block.h"
#include "tools/hub/band/SharedRing.h"
#include "tools/hub/band/Spectrum.h"
#include "tools/hub/band/Transformer.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <thread>

namespace feedline::hub {

/// The received frequency and rate.
struct Tuned {
    std::uint32_t frequency = 0; ///< Hz
    std::uint32_t rate = 0;      ///< IQ pairs a second; 0 while unknown
    bool operator==(const Tuned&) const = default;
};

class Band {
public:
    Band();
    ~Band();
    Band(const Band&) = delete;
    Band& operator=(const Band&) = delete;

    // Any thread.

    /// The values that the next written samples have.
    Tuned tuned() const;
    void setFrequency(std::uint32_t hertz);
    /// A multiple of 200, at least 8,000.
    void setRate(std::uint32_t pairsASecond);

    /// Called whenever readers have something new, by the writer and by the transform's thread;
    /// must not block. Set before the first write.
    using Written = std::function<void(bool newBlocks, bool newSpectrum)>;
    void onWritten(Written written);

    // The writer, one thread.

    /// The rate must be known. @param samples  I, Q, I, Q, ...: what was received next
    void write(std::span<const std::int16_t> samples, Clock::time_point arrival);
    /// So many pairs have been lost on the way here.
    void lose(std::uint64_t pairs);
    /// What comes next has nothing to do with what came before: the receiver has been started.
    void restart();
    /// Gives out what is held back for a fuller block.
    void flush();
    /// Waits until the transform has everything that was given out. For tests.
    void settle();

    // Readers, any thread.

    const SharedRing<Block>& blocks() const { return blocks_; }
    const SharedRing<Spectrum>& spectra() const { return spectra_; }

    /// The transform is made while anybody holds one of these.
    class TransformUse {
    public:
        explicit TransformUse(Band& band);
        ~TransformUse();
        TransformUse(const TransformUse&) = delete;
        TransformUse& operator=(const TransformUse&) = delete;

    private:
        Band& band_;
    };

private:
    void begin(Tuned tuned);
    void publish();
    void transform();
    bool waitForBlocks(Transformer& transformer, std::uint64_t& next);

    SharedRing<Block> blocks_;
    SharedRing<Spectrum> spectra_;
    std::atomic<std::uint64_t> tuned_{0}; ///< frequency in the low half, rate in the high half
    Written written_;
    std::shared_ptr<Block> filling_; ///< of the writer, like the next four
    Position position_ = 0;
    std::uint64_t lost_ = 0;
    std::uint32_t rate_ = 0; ///< of what was written last
    bool fresh_ = true;

    std::mutex mutex_; ///< guards the next five
    std::condition_variable changed_;
    unsigned transformUses_ = 0;
    std::uint64_t transformFrom_ = 0; ///< blocks: where the first of the present users came
    std::uint64_t transformed_ = 0;   ///< blocks
    bool ending_ = false;
    std::thread transformThread_;
};

} // namespace feedline::hub
