#include "probe/DatagramReceiver.h"

#include "probe/ExitStatus.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace feedline::probe {

namespace {

constexpr std::size_t batchSize = 64;

UniqueFd bindPort(const std::string& address, std::uint16_t port) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &local.sin_addr) != 1)
        throw Failure(ExitStatus::BadArguments, "'" + address + "' is no dotted IPv4 address");
    UniqueFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
        throw Failure(ExitStatus::PortInUse, "cannot receive on UDP " + address + ":" +
                                                 std::to_string(port) + ": " +
                                                 std::strerror(errno));
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

    Intake() : m_slots(batchSize), m_headers(batchSize) {
        for (std::size_t at = 0; at < batchSize; ++at) {
            Slot& slot = m_slots[at];
            slot.part = {slot.bytes.data(), slot.bytes.size()};
            m_headers[at].msg_hdr.msg_iov = &slot.part;
            m_headers[at].msg_hdr.msg_iovlen = 1;
            m_headers[at].msg_hdr.msg_control = slot.control.data();
        }
    }

    int receive(int fd) {
        for (mmsghdr& header : m_headers)
            header.msg_hdr.msg_controllen = sizeof Slot::control;
        return recvmmsg(fd, m_headers.data(), batchSize, MSG_DONTWAIT, nullptr);
    }

    bool wellFormed(std::size_t at) const {
        return m_headers[at].msg_len == datagram::size &&
               littleEndian(m_slots[at].bytes.data()) == datagram::header;
    }
    std::uint16_t number(std::size_t at) const {
        return littleEndian(m_slots[at].bytes.data() + datagram::headerSize);
    }
    void copySamples(std::size_t at, std::array<std::int16_t, datagram::entries>& to) const {
        const std::uint8_t* from = m_slots[at].bytes.data() + datagram::sampleOffset;
        for (std::size_t entry = 0; entry < to.size(); ++entry)
            to[entry] = static_cast<std::int16_t>(littleEndian(from + 2 * entry));
    }

    // Arrival time, and the system's count of datagrams that found the buffer full.
    void readControl(std::size_t at, std::int64_t& nanoseconds, std::uint32_t& overflowed) {
        msghdr& header = m_headers[at].msg_hdr;
        for (auto* control = CMSG_FIRSTHDR(&header); control != nullptr;
             control = CMSG_NXTHDR(&header, control)) {
            timespec time{};
            if (readValue(control, SCM_TIMESTAMPNS, time))
                nanoseconds = time.tv_sec * 1'000'000'000LL + time.tv_nsec;
            readValue(control, SO_RXQ_OVFL, overflowed);
        }
    }

private:
    std::vector<Slot> m_slots;
    std::vector<mmsghdr> m_headers;
};

DatagramReceiver::DatagramReceiver(const std::string& address, std::uint16_t port)
    : m_socket(bindPort(address, port)), m_stop(eventfd(0, EFD_CLOEXEC)),
      m_granted(enlargeBuffer(m_socket.get(), wantedBuffer)) {
    const int on = 1;
    setsockopt(m_socket.get(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    setsockopt(m_socket.get(), SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on);
}

DatagramReceiver::~DatagramReceiver() {
    stop();
}

void DatagramReceiver::start(std::vector<BatchQueue*> queues) {
    m_queues = std::move(queues);
    m_thread = std::thread([this] { run(); });
}

void DatagramReceiver::stop() {
    if (!m_thread.joinable())
        return;
    eventfd_write(m_stop.get(), 1);
    m_thread.join();
}

ReceptionFigures DatagramReceiver::figures() const {
    const std::lock_guard lock(m_mutex);
    return m_figures;
}

void DatagramReceiver::run() {
    Intake intake;
    while (waitForDatagrams()) {
        Batch batch = collect(intake);
        publish(batch);
        if (!batch.empty())
            handOver(std::move(batch));
    }
    for (BatchQueue* queue : m_queues)
        queue->close();
}

Batch DatagramReceiver::collect(Intake& intake) {
    const int count = intake.receive(m_socket.get());
    Batch batch;
    for (std::size_t at = 0; count > 0 && at < static_cast<std::size_t>(count); ++at) {
        std::int64_t arrival = now();
        intake.readControl(at, arrival, m_overflowed);
        if (intake.wellFormed(at)) {
            batch.push_back({m_tracker.add(intake.number(at)), arrival, {}});
            intake.copySamples(at, batch.back().samples);
        } else {
            ++m_malformed;
        }
    }
    return batch;
}

// Whatever has arrived is taken before the stop is looked at.
bool DatagramReceiver::waitForDatagrams() const {
    std::array<pollfd, 2> waiting{{{m_socket.get(), POLLIN, 0}, {m_stop.get(), POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
    }
    return (waiting[0].revents & POLLIN) != 0 || waiting[1].revents == 0;
}

void DatagramReceiver::publish(const Batch& batch) {
    for (const ReceivedDatagram& received : batch)
        if (received.verdict.arrival == Arrival::InOrder ||
            received.verdict.arrival == Arrival::AfterGap)
            m_rate.add(received.verdict.position, received.nanoseconds);
    const std::lock_guard lock(m_mutex);
    m_figures.counts = m_tracker.counts();
    m_figures.malformed = m_malformed;
    m_figures.overflowed = m_overflowed;
    m_figures.currentRate = m_rate.current();
    m_figures.overallRate = m_rate.overall();
    if (m_figures.firstArrival == 0 && !batch.empty())
        m_figures.firstArrival = batch.front().nanoseconds;
}

void DatagramReceiver::handOver(Batch batch) {
    const auto shared = std::make_shared<const Batch>(std::move(batch));
    for (BatchQueue* queue : m_queues)
        queue->push(shared);
}

} // namespace feedline::probe
