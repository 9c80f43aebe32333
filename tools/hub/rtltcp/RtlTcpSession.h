// SPDX-License-Identifier: MIT
// One client of the rtl_tcp output.
#pragma once

#include "tools/hub/listeners/Receiver.h"
#include "tools/hub/rtltcp/ByteScaler.h"
#include "tools/hub/rtltcp/Command.h"
#include "tools/hub/tcp/Connection.h"

#include <memory>
#include <string>

namespace feedline::hub {

/// For the output's thread.
class RtlTcpSession final : public std::enable_shared_from_this<RtlTcpSession> {
public:
    RtlTcpSession(Connection::Socket socket, Receiver& receiver);

    /// Takes a place among the listeners, greets and streams. The session lives as long as its
    /// connection.
    void begin();
    /// Gives up everything, with the reason for the log. Also for the thread that ends the output,
    /// when the output's own has ended.
    void leave(const std::string& why);

private:
    void obey(rtltcp::Command command);
    void setRate(std::uint32_t pairsASecond);
    void setGainByIndex(std::uint32_t index);
    void setManualGain(double decibels);
    void useGain();
    void tune();
    void takeSamples();
    Connection::Bytes bytesOf(std::span<const std::complex<float>> pairs, std::uint32_t rate);
    void note(const std::string& line) const;

    Receiver& receiver_;
    Connection connection_;
    std::unique_ptr<Listener> listener_;
    rtltcp::CommandReader commands_;
    ByteScaler scaler_;
    std::uint32_t frequency_ = 0; ///< Hz, as asked; 0: the receiver's own
    std::int32_t correction_ = 0; ///< parts per million
    bool manual_ = false;         ///< the client sets the gain
    double gain_ = 0;             ///< dB, as it last set it
    bool testing_ = false;        ///< a counter goes out in place of samples
    std::uint8_t counter_ = 0;
    bool complained_ = false; ///< about a rate, once
};

} // namespace feedline::hub
