// SPDX-License-Identifier: MIT
// One client of the native output: its conversation, its listener, its datagrams.
#pragma once

#include "tools/hub/listeners/Receiver.h"
#include "tools/hub/native/DatagramQueue.h"
#include "tools/hub/native/Destinations.h"
#include "tools/hub/native/Dialogue.h"
#include "tools/hub/native/MessageFramer.h"
#include "tools/hub/native/Pace.h"
#include "tools/hub/native/SegmentedSocket.h"
#include "tools/hub/tcp/Connection.h"

#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <optional>
#include <string>

namespace feedline::hub {

/// For the output's thread.
class Session final : public Subject, public std::enable_shared_from_this<Session> {
public:
    using Tcp = boost::asio::ip::tcp;

    Session(Tcp::socket socket, Receiver& receiver, std::shared_ptr<Destinations> destinations);

    /// Takes a place among the listeners and begins. The session lives as long as its connection.
    void begin();
    /// Gives up everything, with the reason for the log. Also for the thread that ends the output,
    /// when the output's own has ended.
    void leave(const std::string& why);

    // What the conversation is about.
    std::string targetName() const override;
    std::string serialNumber() const override;
    bool running() const override { return listener_ && listener_->running(); }
    bool run(bool running) override;
    void tune(std::uint32_t hertz) override;
    std::uint32_t frequency() const override { return listener_->heardFrequency(); }
    std::uint32_t setRate(std::uint32_t pairsASecond) override;
    std::uint32_t rate() const override { return listener_->rate(); }

private:
    void received(std::span<const std::uint8_t> bytes);
    bool handle(std::span<const std::uint8_t> message);
    bool start();
    void stop();
    void takeSamples();
    void take(const Reading& reading, std::span<const std::int16_t> samples);
    void sendShare();
    void note(const std::string& line) const;

    Receiver& receiver_;
    std::shared_ptr<Destinations> destinations_;
    Connection connection_;
    std::string address_; ///< the client's, dotted
    boost::asio::steady_timer tick_;
    bool ticking_ = false;
    std::unique_ptr<Listener> listener_;
    Dialogue dialogue_{*this};
    MessageFramer framer_;
    DatagramQueue queue_;
    Pace pace_;
    std::optional<SegmentedSocket> socket_;
};

} // namespace feedline::hub
