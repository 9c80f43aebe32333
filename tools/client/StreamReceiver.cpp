// SPDX-License-Identifier: MIT
#include "tools/client/StreamReceiver.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>

namespace feedline::client {

StreamReceiver::StreamReceiver(DatagramSocket socket, StreamSink& sink)
    : socket_(std::move(socket)), stop_(eventfd(0, EFD_CLOEXEC)), granted_(socket_.grantedBuffer()),
      order_(sink), thread_([this] { run(); }) {}

StreamReceiver::~StreamReceiver() {
    eventfd_write(stop_.get(), 1);
    thread_.join();
}

void StreamReceiver::run() {
    DatagramBlock block;
    std::vector<Verdict> verdicts;
    while (waitForDatagrams()) {
        const std::size_t count = socket_.receive(block);
        reception_.judge(block, socket_.overflowed(), verdicts);
        for (std::size_t at = 0; at < count; ++at)
            order_.add(verdicts[at], block.nanoseconds(at), block.samples(at));
        order_.flush();
        received_.fetch_add(count, std::memory_order_relaxed);
    }
    order_.finish();
}

// Whatever has arrived is taken before the stop is looked at.
bool StreamReceiver::waitForDatagrams() const {
    std::array<pollfd, 2> waiting{{{socket_.fd(), POLLIN, 0}, {stop_.get(), POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
    }
    return (waiting[0].revents & POLLIN) != 0 || waiting[1].revents == 0;
}

} // namespace feedline::client
