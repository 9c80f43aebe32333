// SPDX-License-Identifier: MIT
#include "tools/hub/band/Transformer.h"

#include "tools/hub/band/Rates.h"

#include <algorithm>
#include <utility>

namespace feedline::hub {

namespace {

constexpr std::size_t overlapOf(std::size_t length) {
    return length / 5; // 5 ms of 25
}

} // namespace

void Transformer::take(const Block& block) {
    if (!continues(block))
        begin(block);
    else if (block.position > due_)
        fillGap(static_cast<std::uint64_t>(block.position - due_), block);
    append(block.samples.data(), block.pairs(), block.arrival);
}

void Transformer::forget() {
    input_.clear();
}

bool Transformer::continues(const Block& block) const {
    return !input_.empty() && !block.fresh && block.frequency == next_.frequency &&
           block.rate == next_.rate && block.position >= due_;
}

// What lies between the last spectrum and this block has no whole hop any more, and is given up.
void Transformer::begin(const Block& block) {
    const std::size_t length = block.rate / transformsPerSecond;
    if (!transform_ || input_.size() != length || next_.rate != block.rate)
        transform_.emplace(length, Transform::Direction::forward);
    input_.assign(length, {});
    filled_ = overlapOf(length);
    next_ = Spectrum{};
    next_.fresh = true;
    next_.position = due_ = block.position;
    next_.lost = block.lost;
    next_.frequency = block.frequency;
    next_.rate = block.rate;
}

void Transformer::fillGap(std::uint64_t pairs, const Block& after) {
    const std::size_t hop = input_.size() - overlapOf(input_.size());
    if (pairs > hop) {
        const std::size_t rest = input_.size() - filled_;
        if (rest < hop) { // The pairs before the gap are still worth a spectrum.
            next_.zeros += rest;
            append(nullptr, rest, after.arrival);
        }
        const auto missing = static_cast<std::uint64_t>(after.position - due_);
        begin(after);
        next_.fresh = false;
        next_.lost = std::min(after.lost, missing);
        return;
    }
    const std::size_t here = std::min<std::size_t>(pairs, input_.size() - filled_);
    next_.zeros += here;
    append(nullptr, here, after.arrival);
    next_.zeros += pairs - here;
    append(nullptr, pairs - here, after.arrival);
}

// Without samples, zeros.
void Transformer::append(const std::int16_t* samples, std::size_t pairs,
                         Clock::time_point arrival) {
    due_ += static_cast<Position>(pairs);
    while (pairs > 0) {
        const std::size_t now = std::min(pairs, input_.size() - filled_);
        for (std::size_t at = 0; at < now; ++at)
            input_[filled_ + at] =
                samples == nullptr
                    ? std::complex<float>{}
                    : std::complex<float>(static_cast<float>(samples[2 * at]) / fullScale,
                                          static_cast<float>(samples[2 * at + 1]) / fullScale);
        filled_ += now;
        pairs -= now;
        samples = samples == nullptr ? nullptr : samples + 2 * now;
        if (filled_ == input_.size())
            finish(arrival);
    }
}

void Transformer::finish(Clock::time_point arrival) {
    const std::size_t overlap = overlapOf(input_.size());
    auto spectrum = std::make_shared<Spectrum>(next_);
    spectrum->arrival = arrival;
    spectrum->bins.resize(input_.size());
    transform_->run(input_, spectrum->bins);
    std::copy(input_.end() - static_cast<std::ptrdiff_t>(overlap), input_.end(), input_.begin());
    filled_ = overlap;
    next_.position += static_cast<Position>(input_.size() - overlap);
    next_.lost = next_.zeros = 0;
    next_.fresh = false;
    give_(std::move(spectrum));
}

} // namespace feedline::hub
