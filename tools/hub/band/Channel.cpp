// SPDX-License-Identifier: MIT
#include "tools/hub/band/Channel.h"

#include "tools/hub/band/Band.h"
#include "tools/hub/band/Cutter.h"
#include "tools/hub/band/Rates.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <optional>
#include <utility>

namespace feedline::hub {

namespace {

using Floats = std::span<const std::complex<float>>;
using Integers = std::span<const std::int16_t>;

void convert(Integers from, std::complex<float>* to) {
    auto* values = reinterpret_cast<float*>(to);
    for (const std::int16_t value : from)
        *values++ = static_cast<float>(value) / fullScale;
}

void convert(Integers from, std::int16_t* to) {
    std::copy(from.begin(), from.end(), to);
}

void convert(Floats from, std::complex<float>* to) {
    std::copy(from.begin(), from.end(), to);
}

// Adding and taking away 1.5 * 2^23 leaves the nearest whole number, in a loop of vectors.
void convert(Floats from, std::int16_t* to) {
    constexpr float magic = 12582912.0F;
    const auto* values = reinterpret_cast<const float*>(from.data());
    for (std::size_t at = 0; at < 2 * from.size(); ++at) {
        const float scaled = std::clamp(values[at] * fullScale, -32768.0F, 32767.0F);
        to[at] = static_cast<std::int16_t>(static_cast<std::int32_t>((scaled + magic) - magic));
    }
}

std::uint64_t scaled(std::uint64_t pairs, std::uint32_t from, std::uint32_t to) {
    return (pairs * to + from / 2) / from;
}

bool inBand(std::uint32_t frequency, std::uint32_t received, std::uint32_t rate) {
    const std::int64_t away = std::int64_t{frequency} - std::int64_t{received};
    return 2 * std::abs(away) <= std::int64_t{rate};
}

} // namespace

// Both ways of hearing in one: which one it is, the next item out of a ring decides.
class Channel::Body {
public:
    Body(Band& heard, const ChannelRequest& wanted) : band(heard), request(wanted) { skip(); }

    template <typename Value>
    Reading read(Value* to, std::size_t room) {
        if (at_ == ready_.pairs && !next())
            return {};
        Reading reading = ready_;
        reading.pairs = std::min(room, ready_.pairs - at_);
        if (block_)
            convert(Integers(block_->samples).subspan(2 * at_, 2 * reading.pairs), to);
        else
            convert(cut_.subspan(at_, reading.pairs), to);
        reading.position = position_;
        position_ += static_cast<Position>(reading.pairs);
        at_ += reading.pairs;
        ready_.lost = 0;
        ready_.fresh = false;
        return reading;
    }

    void skip() {
        const Tuned received = band.tuned();
        beginWay(received.rate == 0 || wantsExactly(received.frequency, received.rate));
    }

    Band& band;
    ChannelRequest request;
    ChannelLosses losses;
    std::atomic<bool> exact{true}; ///< hears blocks, not spectra

    std::uint32_t frequencyAt(std::uint32_t received) const {
        return request.wholeBand || request.frequency == 0 ? received : request.frequency;
    }
    std::uint32_t rateAt(std::uint32_t received) const {
        return request.wholeBand || request.rate == 0 ? received
                                                      : channelRate(request.rate, received);
    }
    bool wantsExactly(std::uint32_t frequency, std::uint32_t rate) const {
        return frequencyAt(frequency) == frequency && rateAt(rate) == rate;
    }

private:
    // Goes on with what comes from now on, this way or that.
    void beginWay(bool exactly) {
        ready_ = {};
        receivedRate_ = 0;
        at_ = 0;
        block_.reset();
        expected_.reset();
        fresh_ = true;
        if (exactly)
            use_.reset();
        else if (!use_)
            use_.emplace(band);
        serial_ = exactly ? band.blocks().end() : band.spectra().end();
        exact = exactly;
    }

    bool next() {
        at_ = ready_.pairs = 0;
        block_.reset();
        return exact ? nextBlock() : nextCut();
    }

    bool nextBlock() {
        block_ = band.blocks().take(serial_);
        if (!block_)
            return false;
        if (!wantsExactly(block_->frequency, block_->rate)) {
            beginWay(false);
            return false;
        }
        count(*block_, block_->end(), 0, block_->rate);
        describe(*block_, block_->pairs(), block_->frequency, block_->rate, false);
        return true;
    }

    bool nextCut() {
        const SpectrumPointer spectrum = band.spectra().take(serial_);
        if (!spectrum)
            return false;
        if (wantsExactly(spectrum->frequency, spectrum->rate)) {
            beginWay(true);
            return false;
        }
        const std::uint32_t frequency = frequencyAt(spectrum->frequency);
        const std::uint32_t rate = rateAt(spectrum->rate);
        const std::int64_t hop = spectrum->rate / hopsPerSecond;
        const bool silent = !inBand(frequency, spectrum->frequency, spectrum->rate);
        count(*spectrum, spectrum->position + hop, spectrum->zeros, rate);
        cut_ = silent ? silence(rate) : cutter_.cut(*spectrum, frequency, rate);
        describe(*spectrum, cut_.size(), frequency, rate, silent);
        return true;
    }

    Floats silence(std::uint32_t rate) {
        zeros_.assign(rate / hopsPerSecond, {});
        return zeros_;
    }

    // What is missing before the item, and whose loss it is.
    template <typename Item>
    void count(const Item& item, Position end, std::uint64_t zeros, std::uint32_t rate) {
        losses.upstream += scaled(zeros, item.rate, rate);
        if (expected_ && item.position > *expected_ && item.rate == receivedRate_) {
            const auto missing = static_cast<std::uint64_t>(item.position - *expected_);
            const std::uint64_t upstream = std::min(missing, item.lost);
            losses.upstream += scaled(upstream, item.rate, rate);
            losses.own += scaled(missing - upstream, item.rate, rate);
            lost_ += scaled(missing, item.rate, rate);
            position_ += static_cast<Position>(scaled(missing, item.rate, rate));
        }
        expected_ = end;
        receivedRate_ = item.rate;
    }

    template <typename Item>
    void describe(const Item& item, std::size_t pairs, std::uint32_t frequency, std::uint32_t rate,
                  bool silent) {
        ready_.pairs = pairs;
        ready_.lost = std::exchange(lost_, 0);
        ready_.fresh = std::exchange(fresh_, false) || item.fresh || rate != ready_.rate ||
                       silent != ready_.silent;
        ready_.silent = silent;
        ready_.frequency = frequency;
        ready_.rate = rate;
        ready_.arrival = item.arrival;
    }

    Reading ready_; ///< what waits, of which `at_` pairs have been read
    std::uint32_t receivedRate_ = 0;
    std::size_t at_ = 0;
    BlockPointer block_; ///< where it waits, when it is exact
    Floats cut_;         ///< where it waits, when it is not
    Cutter cutter_;
    std::vector<std::complex<float>> zeros_;
    std::optional<Band::TransformUse> use_;
    std::uint64_t serial_ = 0; ///< of the next item in the ring
    std::optional<Position> expected_;
    Position position_ = 0;
    std::uint64_t lost_ = 0;
    bool fresh_ = true;
};

Channel::Channel(Band& band, const ChannelRequest& request)
    : body_(std::make_unique<Body>(band, request)) {}
Channel::~Channel() = default;
Channel::Channel(Channel&&) noexcept = default;
Channel& Channel::operator=(Channel&&) noexcept = default;

void Channel::request(const ChannelRequest& request) {
    body_->request = request;
}

const ChannelRequest& Channel::requested() const {
    return body_->request;
}

Reading Channel::read(std::span<std::complex<float>> to) {
    return body_->read(to.data(), to.size());
}

Reading Channel::read(std::span<std::int16_t> to) {
    return body_->read(to.data(), to.size() / 2);
}

void Channel::skip() {
    body_->skip();
}

bool Channel::waitsFor(bool newBlocks, bool newSpectrum) const {
    return body_->exact ? newBlocks : newSpectrum;
}

std::uint32_t Channel::frequency() const {
    return body_->frequencyAt(body_->band.tuned().frequency);
}

std::uint32_t Channel::rate() const {
    return body_->rateAt(body_->band.tuned().rate);
}

bool Channel::exact() const {
    const Tuned received = body_->band.tuned();
    return body_->wantsExactly(received.frequency, received.rate);
}

bool Channel::covered() const {
    const Tuned received = body_->band.tuned();
    return inBand(body_->frequencyAt(received.frequency), received.frequency, received.rate);
}

const ChannelLosses& Channel::losses() const {
    return body_->losses;
}

} // namespace feedline::hub
