// The server's core with everything around it replaced by memory: what it logs, prints, shows,
// asks of a receiver and writes to its client becomes one trace, in the order of the events.
// Made for some hundred thousand rounds a second, so nothing here allocates per event or enters
// the kernel.
#pragma once

#include "MemoryControls.h"
#include "MemoryPlatform.h"
#include "app/AppDelegate.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace feedline::fuzz {

/// Marks what kind of event follows in the trace.
enum Event : char {
    logged = 'L',
    printed = 'P',
    alert = 'A',
    call = 'C',   ///< of a receiver library
    written = 'W' ///< to the client's socket
};

/// The events so far. An event is its mark, its text and a zero byte, so that no two sequences of
/// events read alike.
class Trace {
public:
    Trace() { bytes_.reserve(16384); }
    void clear() { bytes_.clear(); }
    void add(Event event, std::string_view text) {
        bytes_ += static_cast<char>(event);
        bytes_ += std::to_string(text.size());
        bytes_ += ':';
        bytes_ += text;
    }
    void format(Event event, const char* format, ...) __attribute__((format(printf, 3, 4)));
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

/// Where the core's events go.
Trace& trace();

/// What the receiver libraries answer.
struct VendorAnswers {
    int start = 0;
    int stop = 0;
    int tune = 0;
};
VendorAnswers& vendorAnswers();

/// The socket number that stands for the client; `write` to it goes to the trace.
constexpr int clientDescriptor = 1000000;

/// Thrown where the server would log a line and abort.
struct Fatal {};

/// While an alert is up the user may choose another receiver.
class TracedAlert : public Alert {
public:
    void runModal(const std::string& message, const std::string& information) override;
    std::function<void()> whileUp;
};

/// A controller with its outlets, over freshly reset state.
struct FuzzedServer : test::MemoryControls {
    explicit FuzzedServer(SettingsStore& settings);

    test::ManualMainThread mainThread; ///< no task and no timer matters to what is fuzzed here
    TracedAlert alert;
    test::RecordingActivities activities;
    AppDelegate delegate;
};

} // namespace feedline::fuzz
