// SPDX-License-Identifier: MIT
// What an output is, and the thread it gets.
//
// Threads of the hub: one receives (tools/client), one writes the band and makes the shared
// transform, one speaks with the server, and one for each output. Everything of an output happens
// on its own thread: it accepts connections there, reads the channels of its listeners there (which
// is where the cutting is paid for) and sends there. So an output needs no lock.
#pragma once

#include "tools/hub/config/Configuration.h"
#include "tools/hub/listeners/Receiver.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace feedline::hub {

/// An output cannot begin: one line says why.
class OutputFailure : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Output {
public:
    virtual ~Output() = default; ///< closes everything and ends its thread, within a second

    /// One line for people: what is open to whom, "native protocol on 127.0.0.1:50001".
    virtual std::string describe() const = 0;
};

/// Each output's room has one: opens its ports and begins, or throws OutputFailure. Null when the
/// configuration switches it off. The receiver outlives the output.
using OutputFactory = std::unique_ptr<Output> (*)(const Configuration& configuration,
                                                  Receiver& receiver);

/// A thread that runs one io_context. An output owns one, declared after everything that its
/// handlers use, so that the thread has ended before that is destroyed.
class OutputThread {
public:
    /// @param context  the output's own; @param name  what a debugger shows, at most 15 characters
    OutputThread(boost::asio::io_context& context, const std::string& name);
    /// Stops the context and waits for the thread.
    ~OutputThread();

private:
    boost::asio::io_context& context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;
};

} // namespace feedline::hub
