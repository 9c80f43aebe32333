// SPDX-License-Identifier: MIT
// The one receiver, as its listeners share it: who is there, who may move it, when it runs.
//
// Upstream tells it what is so and asks what is wanted; outputs join listeners and subscribe to
// changes. All functions may be called from any thread and return at once; nothing here waits for
// the server. The one lock is held for short steps only, and the callbacks that are made under it
// (wake, subscriptions) may only post.
#pragma once

#include "tools/hub/band/Band.h"
#include "tools/hub/config/Configuration.h"
#include "tools/hub/listeners/Listener.h"
#include "tools/hub/listeners/ReceiverState.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace feedline::hub {

/// A listener that cannot be taken: one line says why.
class Refused : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What the listeners want of the receiver.
struct Wanted {
    bool listening = false;      ///< somebody listens now
    std::uint32_t frequency = 0; ///< Hz; 0: nobody has said
    bool operator==(const Wanted&) const = default;
};

/// Ends what it stands for when it is destroyed, and waits for a call under way.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<void> held) : held_(std::move(held)) {}

private:
    std::shared_ptr<void> held_;
};

class Receiver {
public:
    Receiver(Band& band, const Configuration& configuration);
    ~Receiver();

    // For outputs.

    /// Throws Refused when there are too many.
    std::unique_ptr<Listener> join(const ListenerRequest& request);

    ReceiverState state() const;
    ReceiverFigures figures() const;
    std::vector<ListenerReport> listeners() const;

    /// Called with every change, on the thread that caused it, with a lock held: must only post.
    using Changed = std::function<void(const ReceiverState& state)>;
    [[nodiscard]] Subscription subscribe(Changed changed);

    /// Seconds that a listener may take nothing before an output cuts it off.
    static constexpr double stallLimit = 30;

    // For upstream.

    Wanted wanted() const;
    /// Called when what is wanted changes; must only post.
    void onWanted(std::function<void()> changed);
    /// Hands over what is so now.
    void setState(const ReceiverState& state);
    void setFigures(const ReceiverFigures& figures);

    class Body; ///< private to this room

private:
    std::shared_ptr<Body> body_;
};

} // namespace feedline::hub
