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

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

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
    void setRate(std::uint32_t pairsASecond);

    // The band's thread.

    /// Called on the band's thread after each write that gave readers something new; must not
    /// block. Set before the first write.
    using Written = std::function<void(bool newBlocks, bool newSpectrum)>;
    void onWritten(Written written);

    /// @param samples  I, Q, I, Q, ...: what was received next
    void write(std::span<const std::int16_t> samples, Clock::time_point arrival);
    /// So many pairs have been lost on the way here.
    void lose(std::uint64_t pairs);
    /// What comes next has nothing to do with what came before: the receiver has been started.
    void restart();
    /// Gives out what is held back for a fuller block.
    void flush();

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
    class Transformer;

    void begin(Tuned tuned);
    void publish();

    SharedRing<Block> blocks_;
    SharedRing<Spectrum> spectra_;
    std::atomic<std::uint64_t> tuned_{0}; ///< frequency in the low half, rate in the high half
    std::atomic<unsigned> transformUses_{0};
    Written written_;
    std::shared_ptr<Block> filling_; ///< of the band's thread, like the rest
    Position position_ = 0;
    std::uint64_t lost_ = 0;
    bool fresh_ = true;
    std::unique_ptr<Transformer> transformer_;
};

} // namespace feedline::hub
