// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/WebOutput.h"

#include "tools/hub/log/Log.h"
#include "tools/hub/web/server/HttpSession.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <chrono>
#include <optional>
#include <utility>

namespace feedline::hub {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

/// Two threads: 200 listeners take more than one processor has (docs/performance.md).
class WebOutput : public Output {
public:
    WebOutput(Configuration configuration, Receiver& receiver)
        : configuration_(std::move(configuration)), context_(2),
          service_(context_, configuration_, receiver), acceptor_(context_), pause_(context_) {
        open();
        accept();
        first_.emplace(context_, "web-1");
        second_.emplace(context_, "web-2");
    }

    std::string describe() const override {
        return "browsers on http://" + configuration_.listen + ":" +
               std::to_string(configuration_.web) + "/";
    }

private:
    void open();
    void accept();
    void acceptAfterAPause();

    const Configuration configuration_;
    boost::asio::io_context context_; ///< holds the connections, and ends with them
    web::Service service_;
    tcp::acceptor acceptor_;
    boost::asio::steady_timer pause_;
    std::optional<OutputThread> first_, second_;
};

void WebOutput::open() {
    try {
        const tcp::endpoint here(boost::asio::ip::make_address(configuration_.listen),
                                 configuration_.web);
        acceptor_.open(here.protocol());
        acceptor_.set_option(tcp::acceptor::reuse_address(true));
        acceptor_.bind(here);
        acceptor_.listen();
    } catch (const boost::system::system_error& failure) {
        throw OutputFailure("cannot listen for browsers on " + configuration_.listen + ":" +
                            std::to_string(configuration_.web) + ": " + failure.code().message());
    }
}

void WebOutput::accept() {
    acceptor_.async_accept(
        boost::asio::make_strand(context_), [this](const error_code& error, tcp::socket socket) {
            if (error)
                return acceptAfterAPause();
            std::make_shared<web::HttpSession>(std::move(socket), service_)->begin();
            accept();
        });
}

// No descriptor is left, most likely: the next try at once would fail, too.
void WebOutput::acceptAfterAPause() {
    pause_.expires_after(std::chrono::milliseconds(100));
    pause_.async_wait([this](const error_code& error) {
        if (!error)
            accept();
    });
}

} // namespace

std::unique_ptr<Output> openWeb(const Configuration& configuration, Receiver& receiver) {
    if (configuration.web == 0)
        return nullptr;
    return std::make_unique<WebOutput>(configuration, receiver);
}

} // namespace feedline::hub
