// SPDX-License-Identifier: MIT
// What the hub does, for programs and for people.
#pragma once

#include "tools/hub/listeners/Receiver.h"

#include <string>

namespace feedline::hub {

/// One line of JSON: what GET /status answers, and what --json prints every second.
std::string statusJson(const Receiver& receiver);

/// The same figures in Prometheus's text format, version 0.0.4: what GET /metrics answers.
std::string statusMetrics(const Receiver& receiver);

/// The Content-Type of statusMetrics().
constexpr const char* metricsContentType = "text/plain; version=0.0.4; charset=utf-8";

/// Some lines for people from what statusJson() gave; throws std::runtime_error when it is
/// something else.
std::string statusText(const std::string& json);

} // namespace feedline::hub
