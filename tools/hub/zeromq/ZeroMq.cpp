// SPDX-License-Identifier: MIT
#include "tools/hub/zeromq/ZeroMq.h"

#include "tools/hub/log/Log.h"
#include "tools/hub/status/StateJson.h"
#include "tools/hub/zeromq/Publisher.h"

#include <nlohmann/json.hpp>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <complex>
#include <optional>
#include <utility>

namespace feedline::hub {
namespace {

/// Pairs in a message at most: 2.7 ms of an HF+, 0.8 ms of an AirSpy.
constexpr std::size_t pairsAMessage = 2048;
/// Messages that may wait for one subscriber: a second of an HF+, a third of one of an AirSpy.
constexpr int mostMessages = 400;

std::string stateText(const ReceiverState& state) {
    // A name that is not UTF-8 shows as well as it can.
    return stateJson(state).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

class ZeroMq final : public Output {
public:
    ZeroMq(const Configuration& configuration, Receiver& receiver)
        : address_(configuration.listen), port_(configuration.zmq),
          stateText_(stateText(receiver.state())),
          floats_(context_, sockets_, address_, port_, mostMessages, [this] { runIfWanted(); }),
          integers_(context_, sockets_, address_, static_cast<std::uint16_t>(port_ + 1),
                    mostMessages, [this] { runIfWanted(); }),
          state_(context_, sockets_, address_, static_cast<std::uint16_t>(port_ + 2), mostMessages,
                 [this] { post([this] { publishState(); }); }),
          listener_(receiver.join({.output = "zmq",
                                   .address = address_,
                                   .detail = "subscribers",
                                   .channel = {.wholeBand = true},
                                   .tunes = false,
                                   .counts = false,
                                   .wake =
                                       [this] {
                                           post([this] { publishSamples(); });
                                       }})),
          changes_(receiver.subscribe([this](const ReceiverState& state) {
              post([this, text = stateText(state)] {
                  stateText_ = text;
                  publishState();
              });
          })) {
        thread_.emplace(context_, "hub-zmq");
    }

    /// What posts to the context ends first, then what the posted work uses.
    ~ZeroMq() override {
        changes_ = {};
        thread_.reset();
        listener_.reset();
    }
    ZeroMq(const ZeroMq&) = delete;
    ZeroMq& operator=(const ZeroMq&) = delete;

    std::string describe() const override {
        return "zmq on " + address_ + ":" + std::to_string(port_) + " (fc32), " +
               std::to_string(port_ + 1) + " (sc16), " + std::to_string(port_ + 2) + " (state)";
    }

private:
    template <typename Work>
    void post(Work work) {
        boost::asio::post(context_, std::move(work));
    }

    void runIfWanted() { listener_->run(floats_.wanted() || integers_.wanted()); }

    /// With every change, and for whoever comes anew: the others hear it once more.
    void publishState() { state_.send(std::as_bytes(std::span(stateText_))); }

    void publishSamples() {
        std::array<std::int16_t, 2 * pairsAMessage> samples; // NOLINT: written before it is read
        for (;;) {
            const Reading reading = listener_->read(std::span<std::int16_t>(samples));
            if (reading.pairs == 0)
                return;
            publish(std::span(samples).first(2 * reading.pairs));
            listener_->sent(reading.pairs, bytes_);
        }
    }

    void publish(std::span<const std::int16_t> samples) {
        bytes_ = 0;
        if (integers_.wanted()) {
            integers_.send(std::as_bytes(samples));
            bytes_ += samples.size_bytes();
        }
        if (floats_.wanted()) {
            std::array<float, 2 * pairsAMessage> scaled; // NOLINT: written before it is read
            for (std::size_t i = 0; i < samples.size(); ++i)
                scaled.at(i) = static_cast<float>(samples[i]) / fullScale;
            const auto part = std::span(scaled).first(samples.size());
            floats_.send(std::as_bytes(part));
            bytes_ += part.size_bytes();
        }
    }

    std::string address_;
    std::uint16_t port_;
    std::string stateText_;
    std::size_t bytes_ = 0; ///< of the last message, over both sockets
    zmq::context_t sockets_;
    boost::asio::io_context context_{1};
    Publisher floats_;
    Publisher integers_;
    Publisher state_;
    std::unique_ptr<Listener> listener_;
    Subscription changes_;
    std::optional<OutputThread> thread_;
};

} // namespace

std::unique_ptr<Output> openZeroMq(const Configuration& configuration, Receiver& receiver) {
    if (configuration.zmq == 0)
        return nullptr;
    if (configuration.zmq > UINT16_MAX - 2)
        throw OutputFailure("zmq needs three ports, and there is none above 65535");
    return std::make_unique<ZeroMq>(configuration, receiver);
}

} // namespace feedline::hub
