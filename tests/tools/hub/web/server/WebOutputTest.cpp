// SPDX-License-Identifier: MIT
// The web output over its own sockets, with a band that the test writes.
#include "tools/hub/web/server/WebOutput.h"

#include "OutputRoom.h"
#include "Signals.h"
#include "server/PageClient.h"
#include "tools/hub/web/codec/Adpcm.h"
#include "tools/hub/web/messages/Frames.h"
#include "tools/hub/web/server/Service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

namespace feedline::test {
namespace {

using namespace hub::web;

constexpr double stationAt = 7255000;
constexpr std::uint8_t soundType = 1;
constexpr std::uint8_t rowType = 2;

class WebOutput : public OutputRoom {
public:
    ~WebOutput() override {
        stop_ = true;
        if (feeder_.joinable())
            feeder_.join();
    }

protected:
    WebOutput() {
        configuration.web = reserved.number();
        tell(running_);
    }

    /// With what the test has put into the configuration. A limit among it needs a receiver that
    /// knows it.
    void open() { output_ = hub::openWeb(configuration, shared()); }
    void close() { output_.reset(); }
    virtual hub::Receiver& shared() { return receiver; }
    std::uint16_t port() const { return configuration.web; }

    /// An AM station, four times as fast as it would come, until the test ends.
    void feed() {
        feeder_ = std::thread([this] {
            const Pairs pairs = amStation(1000, 0.5, -30, received, 1);
            constexpr std::size_t piece = received / 50;
            std::vector<std::int16_t> samples(2 * piece);
            for (std::size_t at = 0; !stop_; at += piece) {
                for (std::size_t pair = 0; pair < piece; ++pair) {
                    const auto index = (at + pair) % pairs.size();
                    const auto turned = pairs[index] * turn((stationAt - centre) *
                                                            static_cast<double>(index) / received);
                    samples[2 * pair] = static_cast<std::int16_t>(32767 * turned.real());
                    samples[2 * pair + 1] = static_cast<std::int16_t>(32767 * turned.imag());
                }
                write(samples);
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
    }

    static Json listenTo(double frequency) {
        return {{"type", "listen"}, {"frequency", frequency}, {"mode", "am"}, {"agc", "medium"}};
    }

private:
    const hub::ReceiverState running_{.connected = true,
                                      .running = true,
                                      .silent = false,
                                      .name = "AirSpyHF+",
                                      .serial = "123456789",
                                      .frequency = centre,
                                      .rate = received};
    std::atomic<bool> stop_{false};
    std::thread feeder_;
    std::unique_ptr<hub::Output> output_;
};

double doubleAt(const Octets8& frame, std::size_t at) {
    double value = 0;
    std::memcpy(&value, frame.data() + at, sizeof value);
    return value;
}

int numberAt(const Octets8& frame, std::size_t at) {
    return frame[at] | frame[at + 1] << 8;
}

// HTTP

TEST_F(WebOutput, GivesThePageUnderAStrictPolicy) {
    open();
    const Answer page = ask(port(), "/");
    EXPECT_EQ(page.status, 200U);
    EXPECT_EQ(page.headers.at("Content-Type"), "text/html; charset=utf-8");
    EXPECT_NE(page.body.find("<title>Feedline</title>"), std::string::npos);
    const std::string& policy = page.headers.at("Content-Security-Policy");
    EXPECT_NE(policy.find("default-src 'none'"), std::string::npos);
    EXPECT_EQ(policy.find("unsafe"), std::string::npos);
    EXPECT_EQ(page.headers.at("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(page.headers.count("Set-Cookie"), 0U);
    EXPECT_EQ(ask(port(), "/main.js?x=1").headers.at("Content-Type"),
              "text/javascript; charset=utf-8");
}

TEST_F(WebOutput, SaysThatAFileIsTheSame) {
    open();
    const std::string tag = ask(port(), "/main.js").headers.at("ETag");
    const Answer again = ask(port(), "/main.js", {{"If-None-Match", tag}});
    EXPECT_EQ(again.status, 304U);
    EXPECT_EQ(again.body, "");
    EXPECT_EQ(ask(port(), "/main.js", {{"If-None-Match", "\"other\""}}).status, 200U);
}

TEST_F(WebOutput, AnswersHeadWithoutABodyAndNothingElse) {
    open();
    const Answer head = ask(port(), "/", {}, "HEAD");
    EXPECT_EQ(head.status, 200U);
    EXPECT_GT(std::stoi(head.headers.at("Content-Length")), 1000);
    EXPECT_EQ(head.body, "");
    EXPECT_EQ(ask(port(), "/", {}, "POST").status, 405U);
    EXPECT_EQ(ask(port(), "/", {}, "DELETE").status, 405U);
    EXPECT_EQ(ask(port(), "/nothing").status, 404U);
    EXPECT_EQ(ask(port(), "/../main.js").status, 404U);
}

TEST_F(WebOutput, ARequestWithABodyOrAHugeHeaderIsNotRead) {
    open();
    EXPECT_EQ(ask(port(), "/", {}, "POST", std::string(100, 'x')).status, 0U);
    EXPECT_EQ(ask(port(), "/", {{"X-Long", std::string(9000, 'x')}}).status, 0U);
}

TEST_F(WebOutput, OtherSitesNamesAndPagesAreRefused) {
    open();
    EXPECT_EQ(ask(port(), "/", {{"Host", "evil.example"}}).status, 421U);
    EXPECT_EQ(ask(port(), "/status", {{"Origin", "http://evil.example"}}).status, 403U);
    EXPECT_FALSE(PageClient(port(), {{"Host", "evil.example"}}).connected());
    EXPECT_FALSE(PageClient(port(), {{"Origin", "http://evil.example"}}).connected());
    EXPECT_TRUE(
        PageClient(port(), {{"Origin", "http://127.0.0.1:" + std::to_string(port())}}).connected());
}

TEST_F(WebOutput, TellsProgramsWhatTheHubDoes) {
    open();
    const Answer status = ask(port(), "/status");
    EXPECT_EQ(status.headers.at("Content-Type"), "application/json");
    EXPECT_EQ(Json::parse(status.body).at("receiver").at("frequency"), centre);
    EXPECT_NE(ask(port(), "/metrics").body.find("feedline_hub_rate_hertz 768000"),
              std::string::npos);
}

TEST_F(WebOutput, TellsNobodyElse) {
    configuration.webToken = "secret";
    open();
    const Headers forwarded{{"X-Forwarded-For", "192.0.2.7"}};
    EXPECT_EQ(ask(port(), "/status", forwarded).status, 403U);
    EXPECT_EQ(ask(port(), "/metrics", {{"Via", "1.1 proxy"}}).status, 403U);
    Headers allowed = forwarded;
    allowed["Authorization"] = "Bearer secret";
    EXPECT_EQ(ask(port(), "/status", allowed).status, 200U);
    allowed["Authorization"] = "Bearer wrong";
    EXPECT_EQ(ask(port(), "/status", allowed).status, 403U);
}

TEST_F(WebOutput, OneConnectionTakesManyRequests) {
    open();
    TcpClient client(port());
    const std::string request = "GET /icon.svg HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    for (int times = 0; times < 3; ++times) {
        client.send(Octets(request.begin(), request.end()));
        const Octets begin = client.receive(15);
        EXPECT_EQ(std::string(begin.begin(), begin.end()), "HTTP/1.1 200 OK");
        while (client.waiting() > 0)
            client.receive(client.waiting());
    }
}

// The page's WebSocket

TEST_F(WebOutput, GreetsWithWhatThereIsAndTellsTheState) {
    open();
    PageClient page(port());
    EXPECT_EQ(page.words("welcome").at("modes").size(), 6U);
    page.say({{"type", "hello"}});
    const Json state = page.words("state");
    EXPECT_EQ(state.at("lines").at(0), "TCP Server: CONNECTED");
    EXPECT_EQ(state.at("lines").at(1), "AirSpyHF+ RUNNING");
    EXPECT_TRUE(state.at("maySteer"));
    EXPECT_TRUE(state.at("mayTune"));
}

TEST_F(WebOutput, RowsShowTheCarrierAtItsFrequency) {
    open();
    feed();
    PageClient page(port());
    page.say({{"type", "hello"}});
    page.say({{"type", "run"}, {"on", true}});
    page.say({{"type", "view"}, {"low", 7200000}, {"span", 100000}});
    page.say(listenTo(stationAt));
    Octets8 row;
    do {
        row = page.frame(rowType);
        ASSERT_EQ(row.size(), 24U + rowPoints);
    } while (doubleAt(row, 8) != 7200000);
    page.frame(rowType);
    row = page.frame(rowType);
    const auto peak = std::max_element(row.begin() + 24, row.end()) - row.begin() - 24;
    EXPECT_NEAR(7200000 + (static_cast<double>(peak) + 0.5) / rowPoints * 100000, stationAt, 100);
    EXPECT_NEAR(-160 + 0.625 * row[static_cast<std::size_t>(24 + peak)], -30, 1);
    EXPECT_NEAR(static_cast<std::int16_t>(numberAt(row, 4)) / 10.0, -29.5, 1);
}

TEST_F(WebOutput, SoundIsTheStationsTone) {
    open();
    feed();
    PageClient page(port());
    page.say({{"type", "hello"}});
    page.say(listenTo(stationAt));
    page.say({{"type", "run"}, {"on", true}});
    page.say({{"type", "sound"}, {"codec", "adpcm"}});
    std::vector<std::int16_t> samples;
    int next = 0;
    for (int frames = 0; frames < 50; ++frames) {
        const Octets8 frame = page.frame(soundType);
        ASSERT_GT(frame.size(), 12U);
        EXPECT_EQ(numberAt(frame, 2), next++);
        ASSERT_TRUE(decodeAdpcm(std::span(frame).subspan(12), 240, samples));
    }
    const std::vector<float> sound(samples.begin(), samples.end());
    EXPECT_GT(toneLevel(sound, 1000, 12000), 65);
    EXPECT_LT(toneLevel(sound, 1500, 12000), 50);
}

TEST_F(WebOutput, AnswersAPingWithItsNumber) {
    open();
    PageClient page(port());
    page.say({{"type", "ping"}, {"at", 123.25}});
    EXPECT_EQ(page.words("pong").at("at"), 123.25);
}

TEST_F(WebOutput, APageThatStopsLetsTheReceiverRest) {
    open();
    PageClient page(port());
    page.say({{"type", "hello"}});
    page.say({{"type", "run"}, {"on", true}});
    ASSERT_TRUE(waitUntil([&] { return listening() == 1; }));
    page.say({{"type", "run"}, {"on", false}});
    ASSERT_TRUE(waitUntil([&] { return listening() == 0; }));
    page.say({{"type", "run"}, {"on", true}});
    ASSERT_TRUE(waitUntil([&] { return listening() == 1; }));
}

TEST_F(WebOutput, APageThatLeavesIsForgotten) {
    open();
    {
        PageClient page(port());
        page.say({{"type", "hello"}});
        page.say({{"type", "run"}, {"on", true}});
        ASSERT_TRUE(
            waitUntil([&] { return receiver.listeners().size() == 2 && listening() == 1; }));
    }
    EXPECT_TRUE(waitUntil([&] { return receiver.listeners().size() == 1 && listening() == 0; }));
}

// Who may move the receiver

TEST_F(WebOutput, ThisMachineMovesTheReceiver) {
    open();
    PageClient page(port());
    page.say({{"type", "hello"}});
    page.say(listenTo(100e6));
    EXPECT_TRUE(page.words("listening").at("moved"));
    EXPECT_EQ(receiver.wanted().frequency, 100000000U);
}

TEST_F(WebOutput, WhoComesThroughAProxyDoesNot) {
    open();
    PageClient page(port(), {{"X-Forwarded-For", "127.0.0.1"}});
    page.say({{"type", "hello"}});
    EXPECT_FALSE(page.words("state").at("maySteer"));
    page.say(listenTo(100e6));
    const Json answer = page.words("listening");
    EXPECT_FALSE(answer.at("moved"));
    EXPECT_FALSE(answer.at("covered"));
    EXPECT_EQ(receiver.wanted().frequency, 0U);
}

TEST_F(WebOutput, TheTokenMovesTheReceiver) {
    configuration.webToken = "secret";
    open();
    PageClient without(port());
    without.say({{"type", "hello"}, {"token", "wrong"}});
    EXPECT_FALSE(without.words("state").at("maySteer"));
    PageClient with(port(), {{"X-Forwarded-For", "192.0.2.7"}});
    with.say({{"type", "hello"}, {"token", "secret"}});
    const Json state = with.words("state");
    EXPECT_TRUE(state.at("maySteer"));
    EXPECT_TRUE(state.at("mayTune"));
}

// What a page may not do

class WebOutputRubbish : public WebOutput, public testing::WithParamInterface<std::string> {};

TEST_P(WebOutputRubbish, EndsTheConnectionAndNothingElse) {
    open();
    PageClient other(port());
    other.say({{"type", "hello"}});
    PageClient page(port());
    page.say({{"type", "hello"}});
    page.say(GetParam());
    EXPECT_TRUE(page.ends());
    other.say({{"type", "ping"}, {"at", 1}});
    EXPECT_EQ(other.words("pong").at("at"), 1);
    EXPECT_TRUE(waitUntil([&] { return receiver.listeners().size() == 2; }));
}

INSTANTIATE_TEST_SUITE_P(Kinds, WebOutputRubbish,
                         testing::Values("", "rubbish", "{}", R"({"type":"hello"})",
                                         R"({"type":"view"})", std::string(5000, 'x')));

TEST_F(WebOutput, WhoDidNotSayHelloGetsNothing) {
    open();
    PageClient page(port());
    page.say({{"type", "run"}, {"on", true}});
    EXPECT_TRUE(page.ends());
}

TEST_F(WebOutput, BinaryMessagesEndTheConnection) {
    open();
    PageClient page(port());
    page.sayBinary(R"({"type":"hello"})");
    EXPECT_TRUE(page.ends());
}

TEST_F(WebOutput, TooManyMessagesEndTheConnection) {
    open();
    PageClient page(port());
    page.say({{"type", "hello"}});
    int said = 0;
    while (said < 100000 && page.say({{"type", "view"}, {"low", 1}, {"span", 2}}))
        ++said;
    EXPECT_LT(said, 100000);
}

class WebOutputLimits : public WebOutput {
public:
    ~WebOutputLimits() override { close(); }

protected:
    hub::Receiver& shared() override {
        limited_ = std::make_unique<hub::Receiver>(band, configuration);
        return *limited_;
    }

private:
    std::unique_ptr<hub::Receiver> limited_;
};

TEST_F(WebOutputLimits, TheNextListenerIsToldThatItIsFull) {
    configuration.listeners = 2;
    open();
    PageClient first(port());
    PageClient second(port());
    first.say({{"type", "hello"}});
    second.say({{"type", "hello"}});
    second.words("state");
    first.words("state");
    PageClient third(port());
    third.say({{"type", "hello"}});
    const Json goodbye = third.words("goodbye");
    EXPECT_EQ(goodbye.at("why"), "Full: there are 2 listeners already. Try again in a while.");
    EXPECT_TRUE(third.ends());
    first.say({{"type", "ping"}, {"at", 1}});
    EXPECT_EQ(first.words("pong").at("at"), 1);
}

// A named proxy's visitors count each for themselves.
TEST_F(WebOutputLimits, AnAddressHasItsOwnLimit) {
    configuration.perAddress = 1;
    configuration.webProxies = {"127.0.0.1"};
    open();
    PageClient first(port(), {{"X-Forwarded-For", "192.0.2.7"}});
    first.say({{"type", "hello"}});
    first.words("state");
    PageClient second(port(), {{"X-Forwarded-For", "192.0.2.7"}});
    second.say({{"type", "hello"}});
    EXPECT_EQ(second.words("goodbye").at("why"),
              "Full: there are 1 listeners from 192.0.2.7 already. Try again in a while.");
    PageClient third(port(), {{"X-Forwarded-For", "192.0.2.8"}});
    third.say({{"type", "hello"}});
    EXPECT_FALSE(third.words("state").is_null());
}

TEST_F(WebOutputLimits, ConnectionsHaveALimitToo) {
    configuration.perAddress = 1;
    open();
    std::vector<std::unique_ptr<PageClient>> pages;
    while (pages.size() < 100) {
        pages.push_back(std::make_unique<PageClient>(port()));
        if (!pages.back()->connected())
            break;
    }
    EXPECT_EQ(pages.size(), 1 + sparePerAddress + 1);
    EXPECT_EQ(ask(port(), "/").status, 503U);
    pages.clear();
    EXPECT_TRUE(waitUntil([&] { return ask(port(), "/").status == 200; }));
}

// Fairness

TEST_F(WebOutput, APageThatDoesNotReadLosesItsOwnFramesOnly) {
    open();
    feed();
    PageClient slow(port(), {}, 4096);
    PageClient quick(port());
    for (PageClient* const page : {&slow, &quick}) {
        page->say({{"type", "hello"}});
        page->say(listenTo(stationAt));
        page->say({{"type", "run"}, {"on", true}});
        page->say({{"type", "sound"}, {"codec", "adpcm"}});
    }
    // Ten seconds of sound, in which the slow one takes nothing: after thirty seconds it would be
    // cut off.
    int next = numberAt(quick.frame(soundType), 2);
    for (int frames = 0; frames < 500; ++frames)
        ASSERT_EQ(numberAt(quick.frame(soundType), 2), ++next & 0xFFFF);
    // It goes on hearing, with a gap, and is told of it.
    int lost = 0;
    int last = numberAt(slow.frame(soundType), 2);
    while (lost == 0) {
        const Octets8 frame = slow.frame(soundType);
        ASSERT_FALSE(frame.empty());
        lost = (numberAt(frame, 2) - last - 1) & 0xFFFF;
        last = numberAt(frame, 2);
    }
    EXPECT_GT(lost, 100);
    Json state;
    do {
        state = slow.words("state");
        ASSERT_FALSE(state.is_null());
    } while (state.at("lost").at("you") == 0);
}

TEST_F(WebOutput, EndsAtOnceWhoeverIsThere) {
    open();
    feed();
    PageClient page(port());
    page.say({{"type", "hello"}});
    page.say({{"type", "run"}, {"on", true}});
    page.frame(rowType);
    const TcpClient silent(port());
    const auto begin = std::chrono::steady_clock::now();
    close();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_TRUE(page.ends());
    open(); // The port can be had again.
    EXPECT_EQ(ask(port(), "/").status, 200U);
}

TEST_F(WebOutput, APortThatIsTakenIsSaidInOneLine) {
    open();
    try {
        const auto second = hub::openWeb(configuration, receiver);
        FAIL() << "it opened";
    } catch (const hub::OutputFailure& failure) {
        EXPECT_EQ(std::string(failure.what()),
                  "cannot listen for browsers on 127.0.0.1:" + std::to_string(port()) +
                      ": Address already in use");
    }
}

TEST_F(WebOutput, PortZeroSwitchesItOff) {
    configuration.web = 0;
    EXPECT_EQ(hub::openWeb(configuration, receiver), nullptr);
}

} // namespace
} // namespace feedline::test
