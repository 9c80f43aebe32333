// SPDX-License-Identifier: MIT
// Reads the whole band while any page shows it, and makes the rows.
#pragma once

#include "tools/hub/listeners/Receiver.h"
#include "tools/hub/web/server/Visits.h"
#include "tools/hub/web/view/BandView.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

namespace feedline::hub::web {

/// One listener of the receiver for all pages, so that the transform is made once.
class BandWatch : public std::enable_shared_from_this<BandWatch> {
public:
    BandWatch(boost::asio::io_context& context, Receiver& receiver, Visits& visits);

    /// Rows are made while anybody holds one of these. Any thread; it may outlive the watch.
    std::shared_ptr<void> hold();

private:
    using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;

    void count(int change);
    void read();
    void see(const Reading& reading);

    Visits& visits_;
    Strand strand_; ///< runs everything below
    int holds_ = 0;
    std::unique_ptr<BandView> view_;
    std::uint32_t rate_ = 0;      ///< of the view
    std::uint32_t frequency_ = 0; ///< of what the view has seen
    std::vector<std::complex<float>> pairs_;
    std::unique_ptr<Listener> listener_;
};

} // namespace feedline::hub::web
