// SPDX-License-Identifier: MIT
#include "tools/client/DatagramReceiver.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>

namespace feedline::client {

DatagramReceiver::DatagramReceiver(const std::string& address, std::uint16_t port)
    : socket_(address, port, wantedBuffer), stop_(eventfd(0, EFD_CLOEXEC)) {}

DatagramReceiver::~DatagramReceiver() {
    stop();
}

void DatagramReceiver::start(std::vector<BatchQueue*> queues) {
    queues_ = std::move(queues);
    thread_ = std::thread([this] { run(); });
}

void DatagramReceiver::stop() {
    if (!thread_.joinable())
        return;
    eventfd_write(stop_.get(), 1);
    thread_.join();
}

void DatagramReceiver::run() {
    DatagramBlock block;
    std::vector<Verdict> verdicts;
    while (waitForDatagrams()) {
        socket_.receive(block);
        reception_.judge(block, socket_.overflowed(), verdicts);
        if (block.size() != 0)
            handOver(block, verdicts);
    }
    for (BatchQueue* queue : queues_)
        queue->close();
}

// Whatever has arrived is taken before the stop is looked at.
bool DatagramReceiver::waitForDatagrams() const {
    std::array<pollfd, 2> waiting{{{socket_.fd(), POLLIN, 0}, {stop_.get(), POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
    }
    return (waiting[0].revents & POLLIN) != 0 || waiting[1].revents == 0;
}

void DatagramReceiver::handOver(const DatagramBlock& block, const std::vector<Verdict>& verdicts) {
    Batch batch(block.size());
    for (std::size_t at = 0; at < batch.size(); ++at) {
        batch[at].verdict = verdicts[at];
        batch[at].nanoseconds = block.nanoseconds(at);
        std::ranges::copy(block.samples(at), batch[at].samples.begin());
    }
    const auto shared = std::make_shared<const Batch>(std::move(batch));
    for (BatchQueue* queue : queues_)
        queue->push(shared);
}

} // namespace feedline::client
