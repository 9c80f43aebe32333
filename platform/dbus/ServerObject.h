// SPDX-License-Identifier: MIT
// The server's controls as an object on the bus.
#pragma once

#include "platform/MainThread.h"
#include "platform/ServerControls.h"
#include "platform/dbus/BusConnection.h"
#include "platform/dbus/ServerProperties.h"

#include <deque>
#include <string>
#include <vector>

namespace feedline::dbus {

/// Answers calls to /org/feedline/Server1 and tells about changes, while there is a bus.
///
/// Values are read and written while a call is handled. Restart may bring up an alert whose loop
/// handles further calls, so it runs as a task of the main thread, and is answered when it is done
/// or when its alert has come up, whichever is first.
///
/// Main thread. Stays where it is made, for as long as the main thread runs tasks.
class ServerObject {
public:
    ServerObject(MainThread& mainThread, BusKind bus, ServerControls controls);
    ServerObject(const ServerObject&) = delete;
    ServerObject& operator=(const ServerObject&) = delete;

    /// Appears on the bus, now or when there is one, and looks for changes once a second.
    void start();

    /// Readable when there is something to dispatch.
    int descriptor() const { return connection_.descriptor(); }
    void dispatch() { connection_.dispatch(); }

    /// Tells everybody on the bus which properties have changed since the last time.
    void publish();

    /// An alert has come up.
    void alertShown();

private:
    static int read(sd_bus* bus, const char* path, const char* interface, const char* name,
                    sd_bus_message* answer, void* object, sd_bus_error* error);
    static int write(sd_bus* bus, const char* path, const char* interface, const char* name,
                     sd_bus_message* call, void* object, sd_bus_error* error);
    static int restart(sd_bus_message* call, void* object, sd_bus_error* error);
    static int quit(sd_bus_message* call, void* object, sd_bus_error* error);

    void fillTable();
    void addTo(sd_bus* bus);
    const Property* find(const char* name) const;
    std::vector<char*> takeChanges();
    void runNextRestart();
    void answerRestarts();

    MainThread& mainThread_;
    ServerControls controls_;
    std::vector<Property> properties_;
    std::vector<Value> published_;     ///< in the order of properties_
    std::vector<sd_bus_vtable> table_; ///< as the bus library takes them
    BusConnection connection_;
    std::deque<Message> waiting_;  ///< calls of Restart that have not begun
    std::vector<Message> running_; ///< begun, and not answered so far
    bool quitting_ = false;
};

} // namespace feedline::dbus
