// SPDX-License-Identifier: MIT
// A build without D-Bus (FEEDLINE_SESSION_BUS off): nobody is let in.
#include "programs/OutsideAccess.h"

namespace feedline {

struct OutsideAccess::Doors {};

OutsideAccess::OutsideAccess(QtMainThread& /*mainThread*/, KeptAlert& /*alert*/,
                             const ServerControls& /*controls*/) {}
OutsideAccess::~OutsideAccess() = default;
void OutsideAccess::open() {}

} // namespace feedline
