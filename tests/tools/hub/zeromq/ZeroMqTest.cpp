// SPDX-License-Identifier: MIT
// The ZeroMQ output, as its subscribers see it.
#include "tools/hub/zeromq/ZeroMq.h"

#include "OutputRoom.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <zmq.hpp>

namespace feedline::test {
namespace {

class ZeroMqOutput : public OutputRoom {
protected:
    ZeroMqOutput() {
        configuration.zmq = reserved.number();
        output_ = hub::openZeroMq(configuration, receiver);
        tell(idle);
    }

    zmq::socket_t subscriber(int offset) {
        zmq::socket_t socket(sockets_, zmq::socket_type::sub);
        socket.set(zmq::sockopt::rcvtimeo, 20000);
        socket.set(zmq::sockopt::linger, 0);
        socket.set(zmq::sockopt::subscribe, "");
        socket.connect("tcp://127.0.0.1:" + std::to_string(configuration.zmq + offset));
        return socket;
    }

    template <typename Value>
    static std::vector<Value> receiveValues(zmq::socket_t& socket, std::size_t count) {
        std::vector<Value> values;
        zmq::message_t message;
        while (values.size() < count && socket.recv(message)) {
            EXPECT_EQ(message.size() % (2 * sizeof(Value)), 0U) << "not whole items";
            const auto* from = message.data<Value>();
            values.insert(values.end(), from, from + message.size() / sizeof(Value));
        }
        return values;
    }

    bool runs(std::size_t count) {
        return waitUntil([&] { return listening() == count; });
    }

private:
    zmq::context_t sockets_;
    std::unique_ptr<hub::Output> output_;
};

TEST_F(ZeroMqOutput, RunsTheReceiverWhileAnybodySubscribes) {
    EXPECT_EQ(listening(), 0U);
    {
        const auto floats = subscriber(0);
        EXPECT_TRUE(runs(1));
    }
    EXPECT_TRUE(runs(0));
}

TEST_F(ZeroMqOutput, PublishesTheBandBitForBitAsIntegers) {
    auto integers = subscriber(1);
    ASSERT_TRUE(runs(1));
    const auto sent = receive(5000);
    EXPECT_EQ(receiveValues<std::int16_t>(integers, sent.size()), sent);
}

TEST_F(ZeroMqOutput, PublishesTheBandAsFloatsOfFullScaleOne) {
    auto floats = subscriber(0);
    ASSERT_TRUE(runs(1));
    const auto sent = receive(5000);
    const auto values = receiveValues<float>(floats, sent.size());
    ASSERT_EQ(values.size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i)
        ASSERT_EQ(values[i] * 32768, sent[i]);
}

TEST_F(ZeroMqOutput, TellsEveryNewcomerTheStateAndThenItsChanges) {
    auto state = subscriber(2);
    zmq::message_t message;
    // The state at the start of the output may still be on its way.
    nlohmann::json told;
    do {
        ASSERT_TRUE(state.recv(message));
        told = nlohmann::json::parse(message.to_string());
    } while (told.at("name") != "AirSpyHF+");
    EXPECT_EQ(told.at("frequency"), centre);
    EXPECT_EQ(told.at("running"), false);
    auto running = idle;
    running.running = true;
    tell(running);
    do {
        ASSERT_TRUE(state.recv(message));
        told = nlohmann::json::parse(message.to_string());
    } while (told.at("running") == false);
    EXPECT_EQ(told.at("rate"), received);
}

} // namespace
} // namespace feedline::test
