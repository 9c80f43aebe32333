// SPDX-License-Identifier: MIT
// The real feedline-hub with any number of pages on it, without browsers: what it costs, by thread;
// how much each page is sent; what is lost. Prints one line of JSON.
//
//     WebLoad HUB SERVER_PORT PAGES CODEC SECONDS
//
// HUB is started for the server that listens on SERVER_PORT of this machine, an HF+, with as many
// places as there are PAGES. Each page has an address of this machine, listens in AM to a frequency
// of its own, and looks at 48 kHz around it. CODEC is adpcm or opus. When all are there one more
// comes, and has to be told that the hub is full.
#include "Loopback.h"
#include "MeasuredHub.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <exception>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace feedline::bench;
namespace asio = boost::asio;
namespace beast = boost::beast;
using Clock = std::chrono::steady_clock;
using Json = nlohmann::ordered_json;

constexpr double centre = 7100000; // Hz
constexpr double received = 768000;
constexpr double sight = 48000; // Hz that a page looks at
constexpr auto settling = std::chrono::seconds(3);

struct Load {
    std::string hub;
    std::string server;
    unsigned pages;
    std::string codec;
    double seconds;
};

// Frames of one kind, whose numbers tell of those that never came.
struct Stream {
    std::uint64_t bytes = 0;
    std::uint64_t frames = 0;
    std::uint64_t missing = 0;
    std::uint16_t due = 0;

    void add(const std::uint8_t* frame, std::size_t size) {
        const auto number = static_cast<std::uint16_t>(frame[2] | frame[3] << 8);
        if (frames++ > 0)
            missing += static_cast<std::uint16_t>(number - due);
        due = static_cast<std::uint16_t>(number + 1);
        bytes += size;
    }
    void forget() { bytes = frames = missing = 0; }
};

class Page {
public:
    Page(asio::io_context& context, std::uint16_t port, const std::string& address,
         double frequency, const std::string& codec)
        : socket_(context) {
        using asio::ip::make_address_v4;
        using asio::ip::tcp;
        auto& lowest = beast::get_lowest_layer(socket_);
        lowest.socket().open(tcp::v4());
        lowest.socket().bind({make_address_v4(address), 0});
        lowest.connect(tcp::endpoint(make_address_v4("127.0.0.1"), port));
        socket_.handshake("127.0.0.1", "/socket");
        say({{"type", "hello"}});
        say({{"type", "run"}, {"on", true}});
        say({{"type", "view"}, {"low", frequency - sight / 2}, {"span", sight}});
        say({{"type", "listen"}, {"frequency", frequency}, {"mode", "am"}, {"agc", "medium"}});
        say({{"type", "sound"}, {"codec", codec}});
        read();
    }

    void forget() {
        sound.forget();
        rows.forget();
    }

    Stream sound;
    Stream rows;
    bool ended = false;
    std::string farewell; ///< why the hub has hung up

private:
    void say(const Json& message) {
        beast::error_code gone; // One that is not taken may be hung up on before it has said all.
        socket_.write(asio::buffer(message.dump()), gone);
    }

    void read() {
        socket_.async_read(buffer_, [this](const beast::error_code& error, std::size_t size) {
            if (error) {
                ended = true;
                return;
            }
            take(static_cast<const std::uint8_t*>(buffer_.data().data()), size);
            buffer_.clear();
            read();
        });
    }

    void take(const std::uint8_t* message, std::size_t size) {
        if (!socket_.got_text())
            return (message[0] == 1 ? sound : rows).add(message, size);
        const Json words = Json::parse(message, message + size);
        if (words.at("type") == "goodbye")
            farewell = words.at("why");
    }

    beast::websocket::stream<beast::tcp_stream> socket_;
    beast::flat_buffer buffer_;
};

std::vector<std::string> hubWords(const Load& load, std::uint16_t web) {
    return {load.hub,
            "--server",
            "127.0.0.1:" + load.server,
            "--native",
            "0",
            "--rtl-tcp",
            "0",
            "--zmq",
            "0",
            "--web",
            std::to_string(web),
            "--rate",
            "768000",
            "--frequency",
            "7100k",
            "--listeners",
            std::to_string(load.pages)};
}

void awaitListening(std::uint16_t port) {
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    boost::system::error_code error;
    do {
        socket.close();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        socket.connect({asio::ip::address_v4::loopback(), port}, error);
    } while (error);
}

// Spread over the inner nine tenths of the band.
double frequencyOf(unsigned page, unsigned pages) {
    return std::round(centre + 0.9 * received * ((page + 0.5) / pages - 0.5));
}

// Each page's, in the order of size.
Json spread(const std::deque<Page>& pages, Stream Page::*stream, double seconds) {
    std::vector<double> rates;
    std::uint64_t frames = 0;
    std::uint64_t missing = 0;
    for (const Page& page : pages) {
        rates.push_back(8e-3 * static_cast<double>((page.*stream).bytes) / seconds);
        frames += (page.*stream).frames;
        missing += (page.*stream).missing;
    }
    std::sort(rates.begin(), rates.end());
    return {
        {"kilobitsASecond",
         {{"least", rates.front()}, {"median", rates[rates.size() / 2]}, {"most", rates.back()}}},
        {"frames", frames},
        {"missing", missing}};
}

Json costs(const MeasuredHub& hub, const std::map<std::string, double>& before, double seconds) {
    Json used;
    double total = 0;
    for (const auto& [name, now] : hub.times()) {
        const auto was = before.find(name);
        const double spent = now - (was != before.end() ? was->second : 0);
        used[name] = 100 * spent / seconds;
        total += spent;
    }
    used["all"] = 100 * total / seconds;
    return used;
}

// Until every page is being played to; a machine that cannot do that is measured as it is.
void awaitSound(asio::io_context& context, const std::deque<Page>& pages) {
    const auto end = Clock::now() + std::chrono::seconds(30);
    const auto hears = [](const Page& page) {
        return page.sound.frames != 0;
    };
    while (!std::all_of(pages.begin(), pages.end(), hears) && Clock::now() < end)
        context.run_for(std::chrono::milliseconds(100));
}

// Seconds of processor time of this program.
double ownTime() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

Json measure(const Load& load, asio::io_context& context, std::deque<Page>& pages,
             const MeasuredHub& hub) {
    awaitSound(context, pages);
    context.run_for(settling);
    for (Page& page : pages)
        page.forget();
    const double ownBefore = ownTime();
    const auto begin = Clock::now();
    const auto before = hub.times();
    context.run_for(
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(load.seconds)));
    const double passed = std::chrono::duration<double>(Clock::now() - begin).count();
    Json result{{"pages", load.pages}, {"codec", load.codec}, {"seconds", passed}};
    result["percentOfACore"] = costs(hub, before, passed);
    result["percentOfACore"]["the pages, not of the hub"] = 100 * (ownTime() - ownBefore) / passed;
    result["residentKilobytes"] = hub.residentKilobytes();
    result["sound"] = spread(pages, &Page::sound, passed);
    result["waterfall"] = spread(pages, &Page::rows, passed);
    result["cutOff"] =
        std::count_if(pages.begin(), pages.end(), [](const Page& page) { return page.ended; });
    return result;
}

// What one more than there is room for is told.
std::string oneMore(asio::io_context& context, std::uint16_t port, const Load& load) {
    Page page(context, port, addressOf(load.pages), centre, load.codec);
    for (int rounds = 0; rounds < 600 && !page.ended; ++rounds)
        context.run_for(std::chrono::milliseconds(100));
    return page.farewell;
}

Json run(const Load& load) {
    const feedline::test::ReservedPort web;
    const MeasuredHub hub(hubWords(load, web.number()));
    awaitListening(web.number());
    asio::io_context context;
    std::deque<Page> pages;
    for (unsigned page = 0; page < load.pages; ++page) {
        pages.emplace_back(context, web.number(), addressOf(page), frequencyOf(page, load.pages),
                           load.codec);
        context.poll();
    }
    Json result = measure(load, context, pages, hub);
    result["oneMoreIsTold"] = oneMore(context, web.number(), load);
    return result;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fputs("usage: WebLoad HUB SERVER_PORT PAGES adpcm|opus SECONDS\n", stderr);
        return 2;
    }
    try {
        std::puts(run({argv[1], argv[2], static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)),
                       argv[4], std::strtod(argv[5], nullptr)})
                      .dump()
                      .c_str());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "WebLoad: %s\n", failure.what());
        return 1;
    }
    return 0;
}
