// SPDX-License-Identifier: MIT
// The rtl_tcp output over its own socket, and its eight bits.
#include "tools/hub/rtltcp/RtlTcp.h"

#include "OutputRoom.h"
#include "tools/hub/rtltcp/ByteScaler.h"
#include "tools/hub/rtltcp/Command.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>

namespace feedline::test {
namespace {

Octets command(std::uint8_t code, std::uint32_t value) {
    return {code, static_cast<std::uint8_t>(value >> 24U), static_cast<std::uint8_t>(value >> 16U),
            static_cast<std::uint8_t>(value >> 8U), static_cast<std::uint8_t>(value)};
}

class RtlTcpOutput : public OutputRoom {
protected:
    RtlTcpOutput() {
        configuration.rtlTcp = reserved.number();
        output_ = hub::openRtlTcp(configuration, receiver);
        tell(idle);
    }

    bool heard(std::uint32_t frequency, std::uint32_t rate) {
        return waitUntil([&] {
            const auto listeners = receiver.listeners();
            return listeners.size() == 1 && listeners[0].frequency == frequency &&
                   listeners[0].rate == rate;
        });
    }

private:
    std::unique_ptr<hub::Output> output_;
};

TEST_F(RtlTcpOutput, GreetsAndRuns) {
    TcpClient client(configuration.rtlTcp);
    EXPECT_EQ(client.receive(12), (Octets{'R', 'T', 'L', '0', 0, 0, 0, 5, 0, 0, 0, 29}));
    EXPECT_TRUE(waitUntil([&] { return listening() == 1; }));
}

TEST_F(RtlTcpOutput, TakesFrequencyRateAndCorrection) {
    TcpClient client(configuration.rtlTcp);
    client.send(command(2, 1024000));
    client.send(command(1, 7050000));
    EXPECT_TRUE(heard(7050000, 1024000));
    client.send(command(5, 100)); // A receiver 100 ppm too high is tuned that much lower.
    EXPECT_TRUE(heard(7049295, 1024000));
    client.send(command(2, 225000)); // Below the least: the rate stays.
    client.send(command(5, 0));
    EXPECT_TRUE(heard(7050000, 1024000));
}

TEST_F(RtlTcpOutput, TakesEveryCommandAndStreamsOn) {
    TcpClient client(configuration.rtlTcp);
    for (int code = 0; code < 256; ++code)
        client.send(command(static_cast<std::uint8_t>(code), 0xFFFFFFFF));
    client.send(command(5, 0)); // No correction.
    client.send(command(2, 768000));
    client.send(command(1, centre));
    client.send(command(7, 1)); // A counter in place of samples.
    ASSERT_TRUE(heard(centre, 768000));
    client.receive(12);
    // Samples until enough of them are through: the channel's values have changed on the way.
    ASSERT_TRUE(waitUntil([&] {
        receive(20000);
        return client.waiting() >= 2000;
    }));
    const Octets bytes = client.receive(2000);
    ASSERT_EQ(bytes.size(), 2000U);
    for (std::size_t i = 1; i < bytes.size(); ++i)
        ASSERT_EQ(bytes[i], static_cast<std::uint8_t>(bytes[i - 1] + 1));
}

std::vector<std::complex<float>> tone(double level, std::size_t pairs) {
    std::vector<std::complex<float>> samples(pairs);
    for (std::size_t i = 0; i < pairs; ++i)
        samples[i] = std::polar(static_cast<float>(level), 0.1F * static_cast<float>(i));
    return samples;
}

double rootMeanSquare(const Octets& bytes) {
    double sum = 0;
    for (const std::uint8_t byte : bytes)
        sum += (byte - 127.5) * (byte - 127.5);
    return std::sqrt(sum / static_cast<double>(bytes.size()));
}

Octets converted(hub::ByteScaler& scaler, const std::vector<std::complex<float>>& samples) {
    Octets bytes(2 * samples.size());
    scaler.convert(samples, 768000, bytes);
    return bytes;
}

TEST(ByteScaler, ASetGainIsTheGain) {
    hub::ByteScaler scaler;
    scaler.setGain(20);
    const Octets bytes = converted(scaler, tone(0.05, 100000));
    EXPECT_NEAR(rootMeanSquare(bytes), 0.5 * 127.5 / std::sqrt(2), 0.1);
}

TEST(ByteScaler, FollowsAQuietSignalUpAndALoudOneDown) {
    hub::ByteScaler scaler;
    for (const double level : {0.001, 0.9}) {
        Octets bytes;
        for (int second = 0; second < 12; ++second)
            bytes = converted(scaler, tone(level, 768000));
        EXPECT_NEAR(rootMeanSquare(bytes), 0.2 * 127.5 / std::sqrt(2), 2) << level;
    }
}

TEST(ByteScaler, ClipsAtTheEndsOfTheScale) {
    hub::ByteScaler scaler;
    scaler.setGain(40);
    const Octets bytes = converted(scaler, {{1, -1}});
    EXPECT_EQ(bytes, (Octets{255, 0}));
}

TEST(ByteScaler, ZeroDoesNotDrift) {
    hub::ByteScaler scaler;
    const Octets bytes = converted(scaler, std::vector<std::complex<float>>(1000000));
    const double mean = std::accumulate(bytes.begin(), bytes.end(), 0.0) / 2e6;
    EXPECT_NEAR(mean, 127.5, 0.002);
    scaler.setGain(0);
    const Octets shifted =
        converted(scaler, std::vector<std::complex<float>>(1000000, {0.001F, 0.001F}));
    EXPECT_NEAR(std::accumulate(shifted.begin(), shifted.end(), 0.0) / 2e6, 127.5 + 0.1275, 0.002);
}

} // namespace
} // namespace feedline::test
