// SPDX-License-Identifier: MIT
// What the controls are called on D-Bus: the contract between a server and its callers, which
// docs/control.md describes and org.feedline.Server1.xml lists.
#pragma once

namespace feedline::dbus {

constexpr auto busName = "org.feedline.Server1";
constexpr auto objectPath = "/org/feedline/Server1";
constexpr auto interface = "org.feedline.Server1";

/// Restart was called while the window shows an alert.
constexpr auto alertShownError = "org.feedline.Server1.Error.AlertShown";

} // namespace feedline::dbus
