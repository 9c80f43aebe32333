// SPDX-License-Identifier: MIT
#include "tools/client/ServerSession.h"

#include "tools/client/Failure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <poll.h>
#include <sys/eventfd.h>

namespace feedline::client {

namespace {

constexpr Seconds farewell{1.0};
constexpr double growth = 1.5;

int milliseconds(Seconds left) {
    constexpr double longest = 3600.0;
    return static_cast<int>(std::clamp(left.count(), 0.0, longest) * 1e3 + 0.999);
}

std::string inSeconds(Seconds seconds) {
    return std::to_string(std::lround(seconds.count())) + " s";
}

} // namespace

// One connection, from the greeting to its end.
class ServerSession::Connection {
public:
    explicit Connection(ServerSession& session)
        : session_(session), client_(session.settings_.endpoint,
                                     {session.settings_.timeout, Seconds(0), session.stop_.get()}) {
    }

    ServerFacts greet() {
        ServerFacts facts;
        facts.name = client_.targetName();
        facts.hubRate = client_.sampleRate();
        facts.localAddress = client_.localAddress();
        isHub_ = facts.isHub();
        if (isHub_)
            facts.hubFrequency = client_.frequency();
        return facts;
    }

    // Brings in force what is wanted and is not yet, and notes what a hub has made of it.
    void apply(const Wanted& wanted, ServerFacts& facts) {
        if (isHub_ && wanted.rate && wanted.rate != inForce_.rate)
            facts.hubRate = client_.setSampleRate(*wanted.rate);
        inForce_.rate = wanted.rate;
        if (wanted.frequency && wanted.frequency != inForce_.frequency) {
            client_.setFrequency(*wanted.frequency);
            if (isHub_)
                facts.hubFrequency = client_.frequency();
        }
        inForce_.frequency = wanted.frequency;
        if (wanted.running != inForce_.running)
            setRunning(wanted.running);
    }

    // Returns at the latest when something is due. False when the session is to end.
    bool wait() {
        std::array<pollfd, 3> waiting{{{session_.stop_.get(), POLLIN, 0},
                                       {session_.wake_.get(), POLLIN, 0},
                                       {client_.fd(), POLLIN, 0}}};
        poll(waiting.data(), waiting.size(), milliseconds(untilSilence()));
        if (waiting[0].revents != 0)
            return false;
        if (waiting[1].revents != 0) {
            eventfd_t wishes = 0;
            eventfd_read(session_.wake_.get(), &wishes);
        }
        if (waiting[2].revents != 0 && !client_.alive())
            throw Failure(Trouble::noAnswer,
                          session_.settings_.endpoint.server() + " closed the connection");
        return true;
    }

    // A receiver that has fallen silent is stopped and run again.
    void watch() {
        if (silences_ != 0 && samplesSince(runSince_)) {
            session_.tell(Event::Kind::resumed, "samples come again", silences_);
            silences_ = 0;
        }
        if (untilSilence() > Seconds(0))
            return;
        ++silences_;
        session_.tell(Event::Kind::silent,
                      session_.settings_.endpoint.server() + " has sent no samples for " +
                          inSeconds(silenceLimit()) + "; stopping and running the receiver",
                      silences_);
        client_.setRunning(false);
        setRunning(true);
    }

    void leave() {
        if (inForce_.running)
            client_.stopAndLeave(farewell);
    }

private:
    // Taken for running as soon as it is asked for, so that leaving stops it in any case.
    void setRunning(bool running) {
        inForce_.running = inForce_.running || running;
        client_.setRunning(running);
        inForce_.running = running;
        runSince_ = Clock::now();
    }

    bool samplesSince(Clock::time_point moment) const {
        return session_.lastSamples_.load(std::memory_order_relaxed) >
               moment.time_since_epoch().count();
    }

    // How long the receiver may be silent this time.
    Seconds silenceLimit() const {
        const Seconds silence = session_.settings_.silence;
        const unsigned doublings = silences_ < 2 ? 0 : std::min(silences_ - 1, 16U);
        return std::min(silence * (1U << doublings),
                        std::max(session_.settings_.longestSilence, silence));
    }

    Seconds untilSilence() const {
        if (!inForce_.running || session_.settings_.silence <= Seconds(0))
            return Seconds(3600);
        const Clock::time_point samples{
            Clock::duration(session_.lastSamples_.load(std::memory_order_relaxed))};
        return std::max(samples, runSince_) + silenceLimit() - Clock::now();
    }

    ServerSession& session_;
    ControlClient client_;
    bool isHub_ = false;
    Wanted inForce_;
    Clock::time_point runSince_;
    unsigned silences_ = 0; ///< in a row
};

ServerSession::ServerSession(Settings settings, Observer observer)
    : settings_(std::move(settings)), observer_(std::move(observer)),
      stop_(eventfd(0, EFD_CLOEXEC)), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      thread_([this] { run(); }) {}

ServerSession::~ServerSession() {
    eventfd_write(stop_.get(), 1);
    thread_.join();
}

template <typename Change>
void ServerSession::wish(Change change) {
    {
        const std::lock_guard lock(mutex_);
        change(wanted_);
        ++wanted_.generation;
    }
    eventfd_write(wake_.get(), 1);
}

void ServerSession::setRunning(bool running) {
    wish([=](Wanted& wanted) { wanted.running = running; });
}

void ServerSession::setFrequency(std::uint32_t hertz) {
    wish([=](Wanted& wanted) { wanted.frequency = hertz; });
}

void ServerSession::setSampleRate(std::uint32_t pairsPerSecond) {
    wish([=](Wanted& wanted) { wanted.rate = pairsPerSecond; });
}

std::string ServerSession::settle(Seconds limit) {
    std::unique_lock lock(mutex_);
    const std::uint64_t generation = wanted_.generation;
    const bool done =
        changed_.wait_for(lock, limit, [&] { return connected_ && settled_ >= generation; });
    if (done)
        return {};
    return trouble_.empty() ? settings_.endpoint.server() + " does not answer" : trouble_;
}

std::optional<ServerFacts> ServerSession::facts() const {
    const std::lock_guard lock(mutex_);
    return facts_;
}

bool ServerSession::connected() const {
    const std::lock_guard lock(mutex_);
    return connected_;
}

std::uint64_t ServerSession::connections() const {
    const std::lock_guard lock(mutex_);
    return connections_;
}

Seconds ServerSession::apart() const {
    const std::lock_guard lock(mutex_);
    return connected_ ? Seconds(0) : Seconds(Clock::now() - apartSince_);
}

void ServerSession::run() {
    Seconds length = settings_.firstPause;
    do {
        try {
            Connection connection(*this);
            serve(connection, length);
            return;
        } catch (const Failure& failure) {
            if (failure.trouble == Trouble::cancelled)
                return;
            part(failure.what());
        }
    } while (pause(length));
}

// Until the session is to end; throws Failure when the connection does.
void ServerSession::serve(Connection& connection, Seconds& length) {
    try {
        meet(connection.greet());
        do {
            connection.watch();
            bringInForce(connection);
            length = settings_.firstPause;
        } while (connection.wait());
    } catch (const Failure& failure) {
        if (failure.trouble != Trouble::cancelled)
            throw;
    }
    connection.leave();
}

void ServerSession::meet(const ServerFacts& facts) {
    std::uint64_t count = 0;
    {
        const std::lock_guard lock(mutex_);
        facts_ = facts;
        connected_ = true;
        trouble_.clear();
        settled_ = 0;
        count = ++connections_;
    }
    failures_ = 0;
    tell(Event::Kind::connected, "connected to " + settings_.endpoint.server() + ", " + facts.name,
         static_cast<unsigned>(count));
}

void ServerSession::bringInForce(Connection& connection) {
    Wanted wanted;
    ServerFacts facts;
    {
        const std::lock_guard lock(mutex_);
        wanted = wanted_;
        facts = *facts_;
    }
    connection.apply(wanted, facts);
    {
        const std::lock_guard lock(mutex_);
        settled_ = wanted.generation;
        facts_ = facts;
    }
    changed_.notify_all();
}

void ServerSession::part(const std::string& line) {
    {
        const std::lock_guard lock(mutex_);
        if (connected_)
            apartSince_ = Clock::now();
        connected_ = false;
        trouble_ = line;
    }
    tell(Event::Kind::apart, line, ++failures_);
}

// Grows with each call. False when the session is to end.
bool ServerSession::pause(Seconds& length) {
    pollfd waiting{stop_.get(), POLLIN, 0};
    const bool ended = poll(&waiting, 1, milliseconds(length)) > 0;
    length = std::min(length * growth, settings_.longestPause);
    return !ended;
}

void ServerSession::tell(Event::Kind kind, const std::string& line, unsigned count) {
    if (observer_)
        observer_({kind, line, count});
}

} // namespace feedline::client
