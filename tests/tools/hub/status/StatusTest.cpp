// SPDX-License-Identifier: MIT
#include "tools/hub/status/Status.h"

#include "HubParts.h"
#include "tools/hub/status/StatusQuestion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/asio/write.hpp>
#include <thread>

namespace feedline::hub {
namespace {

using testing::HasSubstr;

class StatusTest : public testing::Test {
protected:
    StatusTest() {
        listener->setRate(48000);
        listener->run(true);
        listener->sent(100, 400);
        listener->dropped(3);
        parts.receiver.setFigures({.received = 1000, .lostOnNetwork = 20, .lostInHub = 1});
    }

    test::HubParts parts;
    std::unique_ptr<Listener> listener = parts.join("192.0.2.\"7\n");
};

TEST_F(StatusTest, IsOneLineOfJson) {
    const std::string text = statusJson(parts.receiver);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    const auto json = nlohmann::json::parse(text);
    EXPECT_EQ(json["receiver"]["name"], "AirSpyHF+");
    EXPECT_EQ(json["receiver"]["frequency"], 7100000);
    EXPECT_EQ(json["figures"]["lost"]["network"], 20);
    EXPECT_EQ(json["figures"]["lost"]["hub"], 1);
    ASSERT_EQ(json["listeners"].size(), 1U);
    EXPECT_EQ(json["listeners"][0]["rate"], 48000);
    EXPECT_EQ(json["listeners"][0]["lost"]["connection"], 3);
}

TEST_F(StatusTest, IsWhatPrometheusReads) {
    const std::string text = statusMetrics(parts.receiver);
    EXPECT_THAT(text, HasSubstr("# TYPE feedline_hub_lost_pairs_total counter\n"
                                "feedline_hub_lost_pairs_total{place=\"network\"} 20\n"));
    EXPECT_THAT(text, HasSubstr("\nfeedline_hub_frequency_hertz 7100000\n"));
    EXPECT_THAT(text, HasSubstr("feedline_hub_listener_sent_pairs_total{listener=\"1\",output="
                                "\"native\",address=\"192.0.2.\\\"7\\n\"} 100\n"));
    EXPECT_TRUE(text.ends_with('\n'));
}

TEST_F(StatusTest, IsPutIntoWordsForPeople) {
    const std::string text = statusText(statusJson(parts.receiver));
    EXPECT_THAT(text, HasSubstr("AirSpyHF+, running, 7.100000 MHz, 768000 IQ pairs a second\n"));
    EXPECT_THAT(text, HasSubstr("1 listener\n"));
    EXPECT_THAT(text, HasSubstr("48000/s  lost 3"));
    parts.receiver.setState({});
    EXPECT_THAT(statusText(statusJson(parts.receiver)), HasSubstr("The server is not there.\n"));
    EXPECT_ANY_THROW(statusText("{}"));
    EXPECT_ANY_THROW(statusText("no json"));
}

// Answers one question with what it is given.
class OneAnswer {
public:
    explicit OneAnswer(std::string answer) : answer_(std::move(answer)) {}
    ~OneAnswer() { thread_.join(); }
    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }
    const std::string& question() const { return question_; }

private:
    void serve() {
        boost::asio::ip::tcp::socket socket = acceptor_.accept();
        boost::asio::streambuf buffer;
        boost::asio::read_until(socket, buffer, "\r\n\r\n");
        question_ = {static_cast<const char*>(buffer.data().data()), buffer.size()};
        boost::asio::write(socket, boost::asio::buffer(answer_));
    }

    std::string answer_;
    std::string question_;
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_{context_,
                                             {boost::asio::ip::address_v4::loopback(), 0}};
    std::thread thread_{[this] {
        serve();
    }};
};

TEST(StatusQuestion, GetsWhatTheHubAnswers) {
    OneAnswer hub("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n{...}");
    EXPECT_EQ(askForStatus("127.0.0.1", hub.port()), "{...}");
    EXPECT_TRUE(hub.question().starts_with("GET /status HTTP/1.1\r\n"));
}

TEST(StatusQuestion, SaysInOneLineWhatIsInTheWay) {
    OneAnswer other("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    EXPECT_ANY_THROW(askForStatus("127.0.0.1", other.port()));
    try {
        askForStatus("127.0.0.1", 1);
        FAIL();
    } catch (const std::runtime_error& failure) {
        EXPECT_THAT(failure.what(), HasSubstr("no hub answers at 127.0.0.1:1: "));
    }
}

} // namespace
} // namespace feedline::hub
