// SPDX-License-Identifier: MIT
#include "tools/hub/band/Band.h"

#include "tools/hub/band/Rates.h"

#include <algorithm>
#include <pthread.h>
#include <utility>

namespace feedline::hub {

namespace {

// A block goes out when it holds this much. Half of the 5 ms that a whole band may take longer.
constexpr std::uint32_t blocksPerSecond = 500;
// Blocks, about half a second. They may be shorter than usual around a gap.
constexpr std::size_t blocksKept = 320;
constexpr std::size_t spectraKept = 25; // half a second

std::uint64_t packed(Tuned tuned) {
    return std::uint64_t{tuned.rate} << 32U | tuned.frequency;
}

Tuned unpacked(std::uint64_t both) {
    return {static_cast<std::uint32_t>(both), static_cast<std::uint32_t>(both >> 32U)};
}

} // namespace

Band::Band()
    : blocks_(blocksKept), spectra_(spectraKept), transformThread_([this] {
          pthread_setname_np(pthread_self(), "hub-transform");
          transform();
      }) {}

Band::~Band() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    transformThread_.join();
}

Tuned Band::tuned() const {
    return unpacked(tuned_.load(std::memory_order_relaxed));
}

void Band::setFrequency(std::uint32_t hertz) {
    std::uint64_t now = tuned_.load(std::memory_order_relaxed);
    while (!tuned_.compare_exchange_weak(now, packed({hertz, unpacked(now).rate}),
                                         std::memory_order_relaxed)) {
    }
}

void Band::setRate(std::uint32_t pairsASecond) {
    std::uint64_t now = tuned_.load(std::memory_order_relaxed);
    while (!tuned_.compare_exchange_weak(now, packed({unpacked(now).frequency, pairsASecond}),
                                         std::memory_order_relaxed)) {
    }
}

void Band::onWritten(Written written) {
    written_ = std::move(written);
}

void Band::write(std::span<const std::int16_t> samples, Clock::time_point arrival) {
    const Tuned now = tuned();
    if (now.rate != std::exchange(rate_, now.rate))
        restart();
    if (filling_ && Tuned{filling_->frequency, filling_->rate} != now)
        publish();
    if (!filling_)
        begin(now);
    filling_->samples.insert(filling_->samples.end(), samples.begin(), samples.end());
    filling_->arrival = arrival;
    position_ += static_cast<Position>(samples.size() / 2);
    if (filling_->pairs() * blocksPerSecond >= filling_->rate)
        publish();
}

void Band::begin(Tuned tuned) {
    filling_ = std::make_shared<Block>();
    filling_->position = position_;
    filling_->lost = std::exchange(lost_, 0);
    filling_->fresh = std::exchange(fresh_, false);
    filling_->frequency = tuned.frequency;
    filling_->rate = tuned.rate;
    filling_->samples.reserve(std::size_t{2} * (tuned.rate / blocksPerSecond + 256));
}

void Band::publish() {
    blocks_.push(std::exchange(filling_, nullptr));
    bool used = false;
    {
        const std::lock_guard lock(mutex_);
        used = transformUses_ > 0;
    }
    if (used)
        changed_.notify_all();
    if (written_)
        written_(true, false);
}

void Band::flush() {
    if (filling_)
        publish();
}

void Band::lose(std::uint64_t pairs) {
    flush();
    lost_ += pairs;
    position_ += static_cast<Position>(pairs);
}

void Band::restart() {
    flush();
    fresh_ = true;
}

Band::TransformUse::TransformUse(Band& band) : band_(band) {
    const std::lock_guard lock(band_.mutex_);
    if (band_.transformUses_++ == 0)
        band_.transformFrom_ = band_.blocks_.end();
}

Band::TransformUse::~TransformUse() {
    const std::lock_guard lock(band_.mutex_);
    if (--band_.transformUses_ == 0)
        band_.changed_.notify_all(); // Nobody waits for a transform that is no longer made.
}

void Band::transform() {
    Transformer transformer([this](SpectrumPointer spectrum) {
        spectra_.push(std::move(spectrum));
        if (written_)
            written_(false, true);
    });
    std::uint64_t next = 0;
    while (waitForBlocks(transformer, next)) {
        while (const BlockPointer block = blocks_.take(next))
            transformer.take(*block);
        {
            const std::lock_guard lock(mutex_);
            transformed_ = next;
        }
        changed_.notify_all();
    }
}

// False at the end. What came while nobody used the transform is left out.
bool Band::waitForBlocks(Transformer& transformer, std::uint64_t& next) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] {
        return ending_ || (transformUses_ > 0 && std::max(next, transformFrom_) < blocks_.end());
    });
    if (next < transformFrom_) {
        next = transformFrom_;
        transformer.forget();
    }
    return !ending_;
}

void Band::settle() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] {
        return transformUses_ == 0 || std::max(transformed_, transformFrom_) >= blocks_.end();
    });
}

} // namespace feedline::hub
