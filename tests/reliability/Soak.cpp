// SPDX-License-Identifier: MIT
// feedlined over an emulated receiver, at the receiver's own pace, for as long as asked: counts
// datagrams, gaps and content errors, asks the server for its status all the while, and watches its
// memory, descriptors and threads. `scripts/soak` builds and runs it.
//
//   feedline_soak hf|airspy MINUTES [SPEED]    one stream, uninterrupted; the emulated receiver at
//                                              SPEED times its rate, or as near to it as the
//                                              machine comes, until the samples of so many minutes
//                                              at that speed have come
//   feedline_soak hf|airspy cycles NUMBER      connect, run, stop, leave, and again
//
// SIGINT and SIGTERM end a stream early, with its report. Exit status 0 when every count that has
// to be 0 is.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "DatagramReceiver.h"
#include "DatagramView.h"
#include "EmulatorControl.h"
#include "ServerProcess.h"
#include "TemporaryFolder.h"
#include "ToneCheck.h"
#include "Waiting.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <pthread.h>
#include <sched.h>
#include <sys/sysinfo.h>
#include <thread>
#include <utility>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t tunedTo = 7100000;
constexpr std::uint32_t carrierAt = 7170456; ///< an offset that no block length is a multiple of
volatile std::sig_atomic_t endEarly = 0;

/// Milliseconds. A virtual machine stands still now and then, for longer than the 21 ms that
/// libairspyhf has room for; what it throws away then says nothing about the server. At a multiple
/// of the receiver's rate there is so much less room.
constexpr double patienceOfTheClock = 8;
constexpr long breath = 64; ///< kilobytes: pages that a late first call of something touches

struct Counts {
    std::uint64_t datagrams = 0;
    std::uint64_t gaps = 0;      ///< numbers that do not follow the one before
    std::uint64_t streams = 0;   ///< those that begin with 0 again
    std::uint64_t malformed = 0; ///< of another length or header
    std::uint64_t checked = 0;   ///< datagrams whose content was judged
    std::uint64_t contentErrors = 0;
    std::uint64_t overflowed = 0; ///< lost by this program's own receive buffer
    double worstPhase = 0;
    double worstResidue = 0;
    double amplitude = 0;
};

/// The processor of a fast receiver's server: of two soaks at a time each has one.
int processorOf(bool airspy) {
    return airspy ? 1 % std::max(1, get_nprocs()) : 0;
}

void moveTo(const cpu_set_t& processors) {
    sched_setaffinity(0, sizeof processors, &processors); // Where there is no other, it stays.
}

/// The calling thread, and what it starts.
void moveToProcessor(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    moveTo(set);
}

void moveToProcessorsBut(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int n = 0; n < get_nprocs(); ++n)
        if (n != processor)
            CPU_SET(n, &set);
    moveTo(set);
}

/// Takes datagrams until told to stop, on a thread of its own.
class Listener {
public:
    /// Whoever stops and starts the receiver leaves jumps in the content: `judges` none of it then.
    Listener(DatagramReceiver& receiver, pid_t server, bool judges)
        : receiver_(receiver), server_(server), judges_(judges) {
        thread_ = std::thread([this] { listen(); });
    }
    ~Listener() {
        stop_ = true;
        thread_.join();
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    Counts counts() const {
        const std::lock_guard lock(mutex_);
        return counts_;
    }

private:
    void listen() {
        followTheServer();
        DatagramReceiver::Datagram datagram;
        while (!stop_)
            if (readable(receiver_.descriptor(), 100))
                while (receiver_.take(datagram))
                    take(DatagramView(datagram.bytes()));
    }

    /// In real time when the server is, and after it: the receive buffer has room for what comes
    /// while this thread waits.
    void followTheServer() const {
        const int policy = sched_getscheduler(server_);
        if (policy != SCHED_RR && policy != SCHED_FIFO)
            return;
        const sched_param least{.sched_priority = sched_get_priority_min(policy)};
        pthread_setschedparam(pthread_self(), policy, &least);
    }

    void take(const DatagramView& datagram) {
        const std::lock_guard lock(mutex_);
        counts_.overflowed = receiver_.overflowed();
        ++counts_.datagrams;
        if (!datagram.wellFormed()) {
            ++counts_.malformed;
            return;
        }
        const std::uint16_t number = datagram.number();
        const bool gap = number != due_;
        due_ = static_cast<std::uint16_t>(number + 1);
        counts_.streams += gap && number == 0 ? 1 : 0;
        counts_.gaps += gap && number != 0 ? 1 : 0;
        if (judges_)
            judge(datagram, gap);
    }

    void judge(const DatagramView& view, bool gap) {
        ToneCheck::Pairs pairs;
        for (std::size_t n = 0; n < datagram::pairs; ++n) {
            pairs.re[n] = view.entry(2 * n);
            pairs.im[n] = view.entry(2 * n + 1);
        }
        tone_.take(pairs, gap);
        counts_.checked = tone_.checked();
        counts_.contentErrors = tone_.errors();
        counts_.worstPhase = tone_.worstPhase();
        counts_.worstResidue = tone_.worstResidue();
        counts_.amplitude = tone_.amplitude();
    }

    DatagramReceiver& receiver_;
    pid_t server_;
    bool judges_;
    std::uint16_t due_ = 0; ///< every stream of this program's begins with 0
    ToneCheck tone_;
    Counts counts_;
    mutable std::mutex mutex_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

/// What the server's process holds.
struct Holdings {
    long kilobytes;
    int descriptors;
    int threads;
    static Holdings of(const ServerProcess& server) {
        return {server.residentKilobytes(), server.descriptors(), server.threads()};
    }
};

class Soak {
public:
    explicit Soak(bool airspy, double speed = 1)
        : airspy_(airspy), speed_(speed), scene_(writeScene()),
          server_({Program::feedlined,
                   {socket_.port(), airspy ? 1 : 0, "127.0.0.1"},
                   {{"FEEDLINE_EMULATOR_DEVICES", airspy ? "airspy" : "hf"},
                    {"FEEDLINE_EMULATOR_SCENE", scene_},
                    {"FEEDLINE_EMULATOR_SPEED", std::to_string(speed)},
                    {"FEEDLINE_EMULATOR_PATIENCE", std::to_string(patienceOfTheClock / speed)},
                    {"FEEDLINE_EMULATOR_CONTROL", emulatorSocket()}}}),
          emulator_(emulatorSocket()) {
        leaveTheServersPlace();
    }

    bool stream(double minutes);
    bool cycle(int number);

private:
    std::string emulatorSocket() const { return folder_.path() / "emulator"; }
    std::string writeScene() {
        std::string file = folder_.path() / "scene";
        std::ofstream(file) << "carrier " << carrierAt << " -12\nnoise -200\n";
        return file;
    }
    /// This program began as the server was to run. Its own work needs neither that processor nor
    /// real time; and in real time the end of a process, which takes what is known of it out of
    /// /proc, can wait without end for somebody of lower priority who reads it there.
    void leaveTheServersPlace() const {
        moveToProcessorsBut(processorOf(airspy_));
        const sched_param none{};
        sched_setscheduler(0, SCHED_OTHER, &none);
    }
    void check(bool good, const char* what) {
        if (!good)
            std::printf("FAILED: %s\n", what);
        good_ = good_ && good;
    }
    void askStatus(const ControlConnection& client) {
        ++asked_;
        check(client.ask(test::askStatus()) == Bytes{5, 0, 5, 0, 12}, "status while running");
    }
    void watch(const ControlConnection& client, Clock::time_point begin, double minutes);
    void report(const char* when, const Counts& counts, Holdings holdings, double seconds) const;
    long long receiver(const char* name) const {
        return emulator_.number(airspy_ ? "airspy" : "hf", name);
    }
    void holdBackTheUsbThread() const;
    bool runOnce(std::size_t datagrams);

    bool airspy_;
    double speed_;
    bool good_ = true;
    std::uint64_t asked_ = 0;
    TemporaryFolder folder_;
    std::string scene_;
    DatagramReceiver socket_;
    ServerProcess server_;
    mutable EmulatorControl emulator_;
    std::optional<Listener> listener_;
    std::optional<Holdings> first_;
};

void Soak::report(const char* when, const Counts& c, Holdings h, double seconds) const {
    std::printf(
        "%s %s: %.0f s, %llu datagrams (%.0f pairs/s), new streams %llu, gaps %llu, malformed "
        "%llu, content "
        "checked %llu, errors %llu (worst phase %.5f rad, residue %.5f, amplitude %.0f), "
        "own overflow %llu, dropped by the receiver %lld, its clock waited %lld ms, status asked "
        "%llu; resident %ld kB, "
        "descriptors %d, threads %d\n",
        airspy_ ? "airspy" : "hf", when, seconds, static_cast<unsigned long long>(c.datagrams),
        static_cast<double>(c.datagrams) * 256 / seconds,
        static_cast<unsigned long long>(c.streams), static_cast<unsigned long long>(c.gaps),
        static_cast<unsigned long long>(c.malformed), static_cast<unsigned long long>(c.checked),
        static_cast<unsigned long long>(c.contentErrors), c.worstPhase, c.worstResidue, c.amplitude,
        static_cast<unsigned long long>(c.overflowed), receiver("dropped"), receiver("waited-ms"),
        static_cast<unsigned long long>(asked_), h.kilobytes, h.descriptors, h.threads);
    std::fflush(stdout);
}

void Soak::watch(const ControlConnection& client, Clock::time_point begin, double minutes) {
    // Each server of these sends at the one rate that its receiver begins with.
    const double rate = airspy_ ? 2.5e6 : 768e3;
    const double due = minutes * 60 * speed_ * rate / datagram::pairs;
    auto nextReport = begin + 60s;
    auto lastDatagram = begin;
    std::uint64_t datagrams = 0;
    while (static_cast<double>(datagrams) < due && good_ && !endEarly) {
        std::this_thread::sleep_for(1s);
        askStatus(client);
        const std::uint64_t before = std::exchange(datagrams, listener_->counts().datagrams);
        if (datagrams != before)
            lastDatagram = Clock::now();
        check(Clock::now() - lastDatagram < longestWait, "datagrams go on");
        if (Clock::now() < nextReport && first_)
            continue;
        const Holdings now = Holdings::of(server_);
        if (!first_ && Clock::now() - begin > 15s)
            first_ = now;
        if (Clock::now() < nextReport)
            continue;
        nextReport += 60s;
        report("so far", listener_->counts(), now,
               std::chrono::duration<double>(Clock::now() - begin).count());
    }
}

/// Either library starts the thread that hands samples over first, and then the one that takes them
/// from the USB. The latter is to go on when all others have done their part: the queue between the
/// two is full after 21 ms of samples, which is hardly more than one at a multiple of the rate.
void Soak::holdBackTheUsbThread() const {
    pid_t newest = 0;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(server_.pid()) + "/task"))
        newest = std::max(newest, static_cast<pid_t>(std::stol(task.path().filename())));
    sched_param priority{};
    const int policy = sched_getscheduler(newest);
    sched_getparam(newest, &priority);
    if (priority.sched_priority > sched_get_priority_min(policy)) {
        --priority.sched_priority;
        sched_setscheduler(newest, policy, &priority);
    }
}

bool Soak::stream(double minutes) {
    ControlConnection client(socket_.port());
    check(client.ask(setFrequency(tunedTo)) == setFrequency(tunedTo), "tuning");
    listener_.emplace(socket_, server_.pid(), true);
    check(client.ask(setState(2)) == setState(2), "start");
    check(waitUntil([this] { return listener_->counts().datagrams > 0; }), "datagrams");
    if (speed_ != 1)
        holdBackTheUsbThread();
    const auto begin = Clock::now();
    watch(client, begin, minutes);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    const Counts c = listener_->counts();
    const Holdings last = Holdings::of(server_);
    report("in all", c, last, seconds);
    if (speed_ == 1) // A multiple of it is as much as the machine can do, and the report says it.
        check(receiver("waited-ms") <=
                  static_cast<long long>(60 + seconds), // one in a thousand, and a pause or two
              "the receiver's clock hardly waited");
    check(client.ask(setState(1)) == setState(1), "stop");
    check(server_.end(SIGTERM, "at the end of the soak") == 0, "exit status 0");
    check(c.gaps == 0 && c.streams == 0, "no gaps");
    check(c.malformed == 0, "nothing malformed");
    check(c.checked > 0 && c.contentErrors == 0, "content checked, no errors");
    if (first_) {
        std::printf("growth: resident %+ld kB, descriptors %+d, threads %+d\n",
                    last.kilobytes - first_->kilobytes, last.descriptors - first_->descriptors,
                    last.threads - first_->threads);
        check(last.kilobytes <= first_->kilobytes + breath, "no growth of memory");
        check(last.descriptors == first_->descriptors, "no growth of descriptors");
        check(last.threads == first_->threads, "no growth of threads");
    }
    return good_;
}

/// Connects, runs until so many datagrams have come, stops, leaves.
bool Soak::runOnce(std::size_t datagrams) {
    ControlConnection client(socket_.port());
    const std::uint64_t before = listener_->counts().datagrams;
    check(client.ask(setState(2)) == setState(2), "start");
    const auto end = Clock::now() + longestWait;
    while (listener_->counts().datagrams < before + datagrams && Clock::now() < end)
        std::this_thread::sleep_for(10ms);
    check(listener_->counts().datagrams >= before + datagrams, "datagrams");
    askStatus(client);
    check(client.ask(setState(1)) == setState(1), "stop");
    client.close();
    return good_;
}

/// The model: each set-up of the server runs its UDP thread once, which leaves one datagram socket
/// behind, and nothing else grows. A run ends with the client, so a listening server holds as many
/// as it has been set up times.
bool Soak::cycle(int number) {
    listener_.emplace(socket_, server_.pid(), false);
    const auto begin = Clock::now();
    for (int n = 1; n <= number && good_; ++n) {
        check(runOnce(200), "cycle");
        check(server_.output.waitFor("TCPThread Waiting for incoming connections...", n + 1),
              "listens again");
        const Holdings now = Holdings::of(server_);
        if (n == 3) // Qt and the libraries have everything they keep by then.
            first_ = now;
        if (first_)
            check(now.descriptors - first_->descriptors == n - 3, "one descriptor a cycle");
        if (n % 10 == 0)
            report("so far", listener_->counts(), now,
                   std::chrono::duration<double>(Clock::now() - begin).count());
    }
    const Holdings last = Holdings::of(server_);
    const Counts c = listener_->counts();
    check(c.gaps == 0 && c.malformed == 0, "no gaps but between two streams");
    // The AirSpy's numbers run on from client to client.
    const int fromZero = airspy_ ? 0 : number - 1;
    check(c.streams == static_cast<std::uint64_t>(fromZero), "as many new streams as clients");
    check(server_.end(SIGTERM, "after the cycles") == 0, "exit status 0");
    if (first_) {
        std::printf("growth in %d cycles: resident %+ld kB, descriptors %+d, threads %+d\n",
                    number - 3, last.kilobytes - first_->kilobytes,
                    last.descriptors - first_->descriptors, last.threads - first_->threads);
        check(last.threads == first_->threads, "no growth of threads");
    }
    return good_;
}

} // namespace
} // namespace feedline::test

int main(int argc, char* argv[]) { // NOLINT(bugprone-exception-escape): ends the soak, loudly
    const std::string receiver = argc > 1 ? argv[1] : "";
    const bool cycles = argc == 4 && std::strcmp(argv[2], "cycles") == 0;
    const double amount = argc > 2 ? std::atof(argv[cycles ? 3 : 2]) : 0;
    const double speed = argc == 4 && !cycles ? std::atof(argv[3]) : 1;
    if ((receiver != "hf" && receiver != "airspy") || argc > 4 || !(amount > 0) || !(speed > 0)) {
        std::fprintf(stderr, "usage: %s hf|airspy MINUTES [SPEED] | cycles NUMBER\n", argv[0]);
        return 2;
    }
    // What is to be a multiple of a receiver's rate leaves each thread as much less time: a
    // processor that stands still for a millisecond must hold up all of the server, its emulated
    // receiver too.
    if (speed > 1)
        feedline::test::moveToProcessor(feedline::test::processorOf(receiver == "airspy"));
    const auto end = [](int) {
        feedline::test::endEarly = 1;
    };
    std::signal(SIGINT, end);
    std::signal(SIGTERM, end);
    feedline::test::Soak soak(receiver == "airspy", speed);
    const bool good = cycles ? soak.cycle(static_cast<int>(amount)) : soak.stream(amount);
    std::printf("%s: %s\n", receiver.c_str(), good ? "passed" : "FAILED");
    return good ? 0 : 1;
}
