#include "tools/hub/band/Channel.h"

#include "tools/hub/band/Band.h"
#include "tools/hub/band/Rates.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace feedline::hub {

namespace {

void convert(std::span<const std::int16_t> from, std::complex<float>* to) {
    auto* values = reinterpret_cast<float*>(to);
    for (const std::int16_t value : from)
        *values++ = static_cast<float>(value) / fullScale;
}

void convert(std::span<const std::int16_t> from, std::int16_t* to) {
    std::copy(from.begin(), from.end(), to);
}

} // namespace

class Channel::Body {
public:
    Body(Band& band, const ChannelRequest& request)
        : band_(band), request_(request), serial_(band.blocks().end()) {}

    template <typename Pair>
    Reading read(Pair* to, std::size_t room) {
        Reading reading;
        if (!current_ && !takeBlock())
            return reading;
        const std::size_t pairs = std::min(room, current_->pairs() - offset_);
        convert(std::span(current_->samples).subspan(2 * offset_, 2 * pairs), to);
        reading.pairs = pairs;
        reading.lost = std::exchange(lost_, 0);
        reading.fresh = std::exchange(fresh_, false);
        reading.position = position_;
        reading.frequency = current_->frequency;
        reading.rate = current_->rate;
        reading.arrival = current_->arrival;
        position_ += static_cast<Position>(pairs);
        offset_ += pairs;
        if (offset_ == current_->pairs())
            current_.reset();
        return reading;
    }

    void skip() {
        serial_ = band_.blocks().end();
        current_.reset();
        expected_.reset();
        fresh_ = true;
    }

    Band& band_;
    ChannelRequest request_;
    ChannelLosses losses_;

private:
    bool takeBlock() {
        current_ = band_.blocks().take(serial_);
        if (!current_)
            return false;
        offset_ = 0;
        fresh_ = fresh_ || current_->fresh;
        if (expected_ && current_->position > *expected_) {
            const auto missing = static_cast<std::uint64_t>(current_->position - *expected_);
            const std::uint64_t upstream = std::min(missing, current_->lost);
            losses_.upstream += upstream;
            losses_.own += missing - upstream;
            lost_ += missing;
            position_ += static_cast<Position>(missing);
        }
        expected_ = current_->end();
        return true;
    }

    std::uint64_t serial_;
    BlockPointer current_;
    std::size_t offset_ = 0;
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
    body_->request_ = request;
}

const ChannelRequest& Channel::requested() const {
    return body_->request_;
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

std::uint32_t Channel::frequency() const {
    const ChannelRequest& request = body_->request_;
    return request.wholeBand || request.frequency == 0 ? body_->band_.tuned().frequency
                                                       : request.frequency;
}

std::uint32_t Channel::rate() const {
    const ChannelRequest& request = body_->request_;
    const std::uint32_t received = body_->band_.tuned().rate;
    return request.wholeBand || request.rate == 0 ? received : channelRate(request.rate, received);
}

bool Channel::exact() const {
    const Tuned received = body_->band_.tuned();
    return frequency() == received.frequency && rate() == received.rate;
}

bool Channel::covered() const {
    const Tuned received = body_->band_.tuned();
    const std::int64_t away = std::int64_t{frequency()} - std::int64_t{received.frequency};
    return 2 * std::abs(away) <= std::int64_t{received.rate};
}

const ChannelLosses& Channel::losses() const {
    return body_->losses_;
}

} // namespace feedline::hub
