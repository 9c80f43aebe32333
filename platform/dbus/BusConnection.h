// SPDX-License-Identifier: MIT
// A connection to a message bus that may not be there, go away and come back.
#pragma once

#include "platform/MainThread.h"
#include "platform/dbus/BusTypes.h"

#include <functional>
#include <string>

namespace feedline::dbus {

enum class BusKind { session, system };

/// The bus that this process belongs to: the system bus when its environment says that it was
/// started there (DBUS_STARTER_BUS_TYPE), the session bus otherwise.
BusKind busOfThisProcess();

/// One connection at a time, and a name on it. Nothing here waits: what the bus has to say shows as
/// a descriptor that becomes readable, and `dispatch` handles it. No bus is started for it, and one
/// that is not there is nobody's fault: nothing is written about it.
///
/// Main thread. Stays where it is made, for as long as the main thread runs tasks.
class BusConnection {
public:
    /// `prepare` offers objects on every new connection before it has a name.
    BusConnection(MainThread& mainThread, BusKind kind, std::string name,
                  std::function<void(sd_bus*)> prepare);

    /// Readable when there is something to dispatch; the same for the life of the object.
    int descriptor() const;

    /// Handles what has come. A caller that never stops calling does not keep the main thread from
    /// its other work: what is left after a while becomes a task of its own.
    void dispatch();

    /// Lets go of a connection that has ended and tries for a new one. To be called now and then.
    void keepConnected();

    /// Null while there is none.
    sd_bus* bus() const { return bus_.get(); }

private:
    bool handleOne();
    void connect();

    MainThread& mainThread_;
    BusKind kind_;
    std::string name_;
    std::function<void(sd_bus*)> prepare_;
    Event event_;
    Bus bus_;
    bool dispatching_ = false;
    bool restIsTask_ = false; ///< the rest of a long dispatch is among the main thread's tasks
};

} // namespace feedline::dbus
