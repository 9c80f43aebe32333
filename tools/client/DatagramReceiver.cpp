#include "tools/client/DatagramReceiver.h"

#include "tools/client/Failure.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace feedline::client {

namespace {

constexpr std::size_t batchSize = 64;

UniqueFd bindPort(const std::string& address, std::uint16_t port) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &local.sin_addr) != 1)
        throw Failure(Trouble::badAddress, "'" + address + "' is no dotted IPv4 address");
    UniqueFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
        throw Failure(Trouble::portInUse, "cannot receive on UDP " + address + ":" +
                                              std::to_string(port) + ": " + std::strerror(errno));
    return fd;
}

// A privileged user may exceed the system's limit; everybody else gets what it allows.
int enlargeBuffer(int fd, int wanted) {
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof wanted) != 0)
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
    int granted = 0;
    socklen_t length = sizeof granted;
    getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &granted, &length);
    return granted / 2; // The system doubles the number for its own book-keeping.
}

std::int64_t now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

// Reads a control message's value if it is the one asked for.
template <typename Value>
bool readValue(const cmsghdr* control, int type, Value& value) {
    if (control->cmsg_level != SOL_SOCKET || control->cmsg_type != type)
        return false;
    std::memcpy(&value, CMSG_DATA(control), sizeof value);
    return true;
}

std::uint16_t littleEndian(const std::uint8_t* from) {
    return static_cast<std::uint16_t>(from[0] | (from[1] << 8));
}

} // namespace

// Room for one system call's worth of datagrams, with what the system says about each.
class DatagramReceiver::Intake {
public:
    struct Slot {
        std::array<std::uint8_t, datagram::size + 1> bytes; // one more, to see longer ones
        alignas(cmsghdr) std::array<char, 128> control;
        iovec part;
    };

    Intake() : slots_(batchSize), headers_(batchSize) {
        for (std::size_t at = 0; at < batchSize; ++at) {
            Slot& slot = slots_[at];
            slot.part = {slot.bytes.data(), slot.bytes.size()};
            headers_[at].msg_hdr.msg_iov = &slot.part;
            headers_[at].msg_hdr.msg_iovlen = 1;
            headers_[at].msg_hdr.msg_control = slot.control.data();
        }
    }

    int receive(int fd) {
        for (mmsghdr& header : headers_)
            header.msg_hdr.msg_controllen = sizeof Slot::control;
        return recvmmsg(fd, headers_.data(), batchSize, MSG_DONTWAIT, nullptr);
    }

    bool wellFormed(std::size_t at) const {
        return headers_[at].msg_len == datagram::size &&
               littleEndian(slots_[at].bytes.data()) == datagram::header;
    }
    std::uint16_t number(std::size_t at) const {
        return littleEndian(slots_[at].bytes.data() + datagram::headerSize);
    }
    void copySamples(std::size_t at, std::array<std::int16_t, datagram::entries>& to) const {
        const std::uint8_t* from = slots_[at].bytes.data() + datagram::sampleOffset;
        for (std::size_t entry = 0; entry < to.size(); ++entry)
            to[entry] = static_cast<std::int16_t>(littleEndian(from + 2 * entry));
    }

    // Arrival time, and the system's count of datagrams that found the buffer full.
    void readControl(std::size_t at, std::int64_t& nanoseconds, std::uint32_t& overflowed) {
        msghdr& header = headers_[at].msg_hdr;
        for (auto* control = CMSG_FIRSTHDR(&header); control != nullptr;
             control = CMSG_NXTHDR(&header, control)) {
            timespec time{};
            if (readValue(control, SCM_TIMESTAMPNS, time))
                nanoseconds = time.tv_sec * 1'000'000'000LL + time.tv_nsec;
            readValue(control, SO_RXQ_OVFL, overflowed);
        }
    }

private:
    std::vector<Slot> slots_;
    std::vector<mmsghdr> headers_;
};

DatagramReceiver::DatagramReceiver(const std::string& address, std::uint16_t port)
    : socket_(bindPort(address, port)), stop_(eventfd(0, EFD_CLOEXEC)),
      granted_(enlargeBuffer(socket_.get(), wantedBuffer)) {
    const int on = 1;
    setsockopt(socket_.get(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    setsockopt(socket_.get(), SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on);
}

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

ReceptionFigures DatagramReceiver::figures() const {
    const std::lock_guard lock(mutex_);
    return figures_;
}

void DatagramReceiver::run() {
    Intake intake;
    while (waitForDatagrams()) {
        Batch batch = collect(intake);
        publish(batch);
        if (!batch.empty())
            handOver(std::move(batch));
    }
    for (BatchQueue* queue : queues_)
        queue->close();
}

Batch DatagramReceiver::collect(Intake& intake) {
    const int count = intake.receive(socket_.get());
    Batch batch;
    for (std::size_t at = 0; count > 0 && at < static_cast<std::size_t>(count); ++at) {
        std::int64_t arrival = now();
        intake.readControl(at, arrival, overflowed_);
        if (intake.wellFormed(at)) {
            batch.push_back({tracker_.add(intake.number(at)), arrival, {}});
            intake.copySamples(at, batch.back().samples);
        } else {
            ++malformed_;
        }
    }
    return batch;
}

// Whatever has arrived is taken before the stop is looked at.
bool DatagramReceiver::waitForDatagrams() const {
    std::array<pollfd, 2> waiting{{{socket_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
    }
    return (waiting[0].revents & POLLIN) != 0 || waiting[1].revents == 0;
}

void DatagramReceiver::publish(const Batch& batch) {
    for (const ReceivedDatagram& received : batch)
        if (received.verdict.arrival == Arrival::inOrder ||
            received.verdict.arrival == Arrival::afterGap)
            rate_.add(received.verdict.position, received.nanoseconds);
    const std::lock_guard lock(mutex_);
    figures_.counts = tracker_.counts();
    figures_.malformed = malformed_;
    figures_.overflowed = overflowed_;
    figures_.currentRate = rate_.current();
    figures_.overallRate = rate_.overall();
    if (figures_.firstArrival == 0 && !batch.empty())
        figures_.firstArrival = batch.front().nanoseconds;
}

void DatagramReceiver::handOver(Batch batch) {
    const auto shared = std::make_shared<const Batch>(std::move(batch));
    for (BatchQueue* queue : queues_)
        queue->push(shared);
}

} // namespace feedline::client
