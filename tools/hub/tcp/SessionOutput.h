// SPDX-License-Identifier: MIT
// An output over TCP: a session for every connection.
#pragma once

#include "tools/hub/output/Output.h"
#include "tools/hub/tcp/Acceptor.h"

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace feedline::hub {

/// A Session has `begin()`, after which its connection keeps it alive, and `leave(why)`, after
/// which it has no listener any more.
template <typename Session>
class SessionOutput final : public Output {
public:
    using Make = std::function<std::shared_ptr<Session>(Acceptor::Tcp::socket connection)>;

    /// @param name  for people and for the log
    /// Throws OutputFailure.
    SessionOutput(const std::string& name, const std::string& address, std::uint16_t port,
                  Make make)
        : description_(name + " on " + address + ":" + std::to_string(port)),
          make_(std::move(make)),
          acceptor_(context_, name, address, port,
                    [this](Acceptor::Tcp::socket connection) { take(std::move(connection)); }),
          thread_(std::in_place, context_, "hub-" + name) {}

    /// No listener may be left when the context goes: the band's thread posts to it.
    ~SessionOutput() override {
        thread_.reset();
        for (const auto& session : sessions_)
            if (const auto left = session.lock())
                left->leave("the hub ends");
    }
    SessionOutput(const SessionOutput&) = delete;
    SessionOutput& operator=(const SessionOutput&) = delete;

    std::string describe() const override { return description_; }

private:
    void take(Acceptor::Tcp::socket connection) {
        std::erase_if(sessions_, [](const auto& session) { return session.expired(); });
        const std::shared_ptr<Session> session = make_(std::move(connection));
        sessions_.push_back(session);
        session->begin();
    }

    std::string description_;
    Make make_;
    std::vector<std::weak_ptr<Session>> sessions_;
    boost::asio::io_context context_{1};
    Acceptor acceptor_;
    std::optional<OutputThread> thread_;
};

} // namespace feedline::hub
