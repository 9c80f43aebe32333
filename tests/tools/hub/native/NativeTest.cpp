// SPDX-License-Identifier: MIT
// The native output over its own sockets: conversation, datagrams, and who may have them.
#include "tools/hub/native/Native.h"

#include "OutputRoom.h"
#include "stream/DataDatagram.h"

#include <gtest/gtest.h>

#include <cstring>

namespace feedline::test {
namespace {

const Octets run{0x08, 0x00, 0x18, 0x00, 0x80, 0x02, 0x00, 0x00};
const Octets stop{0x08, 0x00, 0x18, 0x00, 0x80, 0x01, 0x00, 0x00};
const Octets nak{0x02, 0x00};

std::uint16_t numberOf(const Octets& datagram) {
    return static_cast<std::uint16_t>(datagram.at(2) | datagram.at(3) << 8U);
}

class NativeOutput : public OutputRoom {
protected:
    NativeOutput() {
        configuration.native = reserved.number();
        output_ = hub::openNative(configuration, receiver);
        tell(idle);
    }

    /// The client runs and is known to.
    void start(TcpClient& client, std::size_t running = 1) {
        ASSERT_EQ(client.ask(run, run.size()), run);
        ASSERT_EQ(listening(), running);
    }

    static void expectDatagram(const Octets& datagram, std::uint16_t number,
                               const std::int16_t* samples) {
        ASSERT_EQ(datagram.size(), datagram::size);
        EXPECT_EQ(datagram[0], 0x04);
        EXPECT_EQ(datagram[1], 0x84);
        EXPECT_EQ(numberOf(datagram), number);
        for (std::size_t entry = 0; entry < datagram::entries; ++entry) {
            const std::uint8_t* at = datagram.data() + datagram::sampleOffset + 2 * entry;
            ASSERT_EQ(static_cast<std::int16_t>(at[0] | at[1] << 8U), samples[entry]);
        }
    }

    std::uint16_t port() const { return configuration.native; }

private:
    std::unique_ptr<hub::Output> output_;
};

TEST_F(NativeOutput, AnswersAsAServerDoes) {
    TcpClient client(port());
    EXPECT_EQ(client.ask({0x04, 0x20, 0x01, 0x00}, 14),
              (Octets{0x0E, 0, 0x01, 0, 'A', 'i', 'r', 'S', 'p', 'y', 'H', 'F', '+', 0}));
    EXPECT_EQ(client.ask({0x04, 0x20, 0x02, 0x00}, 14),
              (Octets{0x0E, 0, 0x02, 0, '1', '2', '3', '4', '5', '6', '7', '8', '9', 0}));
    EXPECT_EQ(client.ask({0x04, 0x20, 0x04, 0x00}, 6), (Octets{0x06, 0, 0x04, 0, 123, 0}));
    EXPECT_EQ(client.ask({0x04, 0x20, 0x05, 0x00}, 5), (Octets{0x05, 0, 0x05, 0, 11}));
}

TEST_F(NativeOutput, AnswersWhatAServerLeavesUnanswered) {
    TcpClient client(port());
    EXPECT_EQ(client.ask({0x04, 0x20, 0x09, 0x00}, 2), nak);
    EXPECT_EQ(client.ask({0x05, 0x40, 0x20, 0x00, 0x00}, 2), nak);
    EXPECT_EQ(client.ask({0x04, 0x20, 0x18, 0x00}, 8), stop);
    EXPECT_EQ(client.ask({0x05, 0x20, 0x20, 0x00, 0x00}, 10),
              (Octets{0x0A, 0, 0x20, 0, 0, 0x60, 0x56, 0x6C, 0, 0})); // 7,100,000 Hz
    EXPECT_EQ(client.ask({0x05, 0x20, 0xB8, 0x00, 0x00}, 9),
              (Octets{0x09, 0, 0xB8, 0, 0, 0x00, 0xB8, 0x0B, 0})); // 768,000
}

TEST_F(NativeOutput, SendsTheReceivedBandBitForBitFromNumberZeroAtEveryRun) {
    TcpClient client(port());
    UdpEnd samples(port());
    for (int time = 0; time < 2; ++time) {
        start(client);
        const auto sent = receive(3 * datagram::pairs);
        for (std::uint16_t number = 0; number < 3; ++number)
            expectDatagram(samples.next(), number, sent.data() + number * datagram::entries);
        ASSERT_EQ(client.ask(stop, stop.size()), stop);
        EXPECT_EQ(listening(), 0U);
    }
}

TEST_F(NativeOutput, LeavesOutTheNumbersOfWhatWasLost) {
    TcpClient client(port());
    UdpEnd samples(port());
    start(client);
    const auto before = receive(datagram::pairs);
    expectDatagram(samples.next(), 0, before.data());
    band.lose(5 * datagram::pairs);
    const auto after = receive(datagram::pairs);
    expectDatagram(samples.next(), 6, after.data());
}

TEST_F(NativeOutput, GivesOneStreamToAnAddress) {
    TcpClient first(port());
    TcpClient second(port());
    TcpClient other(port(), "127.0.0.2");
    UdpEnd samples(port());
    UdpEnd otherSamples(port(), "127.0.0.2");
    start(first);
    EXPECT_EQ(second.ask(run, 2), nak);
    start(other, 2);
    const auto sent = receive(datagram::pairs);
    expectDatagram(samples.next(), 0, sent.data());
    expectDatagram(otherSamples.next(), 0, sent.data());
    ASSERT_EQ(first.ask(stop, stop.size()), stop);
    EXPECT_EQ(second.ask(run, run.size()), run);
}

TEST_F(NativeOutput, EchoesTheRateThatItGives) {
    TcpClient client(port());
    EXPECT_EQ(client.ask({0x09, 0, 0xB8, 0, 0, 0x81, 0xBB, 0, 0}, 9), // 48,001
              (Octets{0x09, 0, 0xB8, 0, 0, 0x80, 0xBB, 0, 0}));       // 48,000
    EXPECT_EQ(client.ask({0x05, 0x20, 0xB8, 0x00, 0x00}, 9),
              (Octets{0x09, 0, 0xB8, 0, 0, 0x80, 0xBB, 0, 0}));
}

TEST_F(NativeOutput, EndsWhatIsNoControlStream) {
    TcpClient tooShort(port());
    tooShort.send({0x03, 0x20, 0x01});
    EXPECT_TRUE(tooShort.ended());
    TcpClient tooLong(port());
    tooLong.send({0x04, 0x21});
    EXPECT_TRUE(tooLong.ended());
    TcpClient good(port());
    EXPECT_EQ(good.ask({0x04, 0x20, 0x05, 0x00}, 5), (Octets{0x05, 0, 0x05, 0, 11}));
}

TEST_F(NativeOutput, EndsAClientThatAsksAndNeverReads) {
    TcpClient client(port());
    Octets questions;
    for (int i = 0; i < 2000; ++i)
        for (const std::uint8_t byte : {0x04, 0x20, 0x01, 0x00})
            questions.push_back(byte);
    while (client.trySend(questions)) {
    }
    EXPECT_TRUE(waitUntil([&] { return receiver.listeners().empty(); }));
}

TEST_F(NativeOutput, RefusesMoreThanTheLimit) {
    std::vector<std::unique_ptr<TcpClient>> clients;
    for (unsigned i = 0; i < configuration.perAddress; ++i) {
        clients.push_back(std::make_unique<TcpClient>(port()));
        ASSERT_FALSE(clients.back()->ask({0x04, 0x20, 0x05, 0x00}, 5).empty());
    }
    TcpClient oneMore(port());
    EXPECT_TRUE(oneMore.ended());
}

} // namespace
} // namespace feedline::test
