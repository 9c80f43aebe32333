// SPDX-License-Identifier: MIT
// The server's controls for other programs, and its reports to a service manager.
#pragma once

#include "platform/KeptAlert.h"
#include "platform/ServerControls.h"
#include "platform/qt/QtMainThread.h"

#include <memory>

namespace feedline {

/// Puts the controls on D-Bus, while there is a bus, and tells the service manager that started the
/// program, if one did, how it is. In a build without D-Bus it does nothing.
///
/// Made on the main thread after the application object; like the controller it is never destroyed
/// while a server thread could run.
class OutsideAccess {
public:
    OutsideAccess(QtMainThread& mainThread, KeptAlert& alert, const ServerControls& controls);
    ~OutsideAccess();
    OutsideAccess(const OutsideAccess&) = delete;
    OutsideAccess& operator=(const OutsideAccess&) = delete;

    /// Has the event loop open the doors, after the launch that was asked of it before: callers
    /// find the fields filled.
    void open();

private:
    struct Doors;
    std::unique_ptr<Doors> doors_;
};

} // namespace feedline
